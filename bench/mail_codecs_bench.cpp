// Throughput of the transfer decoders and the Japanese conversions, in MB/s
// of input, each beside memcpy of the same buffer on this machine: the
// "x_memcpy" counter is how many times slower than copying the input the
// operation is (memcpy being the memory limit). Times are the best run in
// this thread's CPU time, so that a busy machine disturbs them less.
//
//   bench_mail_codecs --benchmark_min_time=1
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "mail/charset.h"
#include "mail/decode_master.h"
#include "mail/transfer_codecs.h"

namespace {

constexpr size_t kSize = 4 << 20;

std::string Owned(char *p, int n)
{
    std::string s(p, static_cast<size_t>(n));
    std::free(p);
    return s;
}

std::string Owned(char *p)
{
    std::string s = p;
    std::free(p);
    return s;
}

const std::string &RandomBytes()
{
    static const std::string bytes = [] {
        std::mt19937 rng(7);
        std::string s(kSize, '\0');
        for (char &c : s)
            c = static_cast<char>(rng());
        return s;
    }();
    return bytes;
}

const std::string &Base64Text()
{
    static const std::string text = [] {
        int n = 0;
        char *p = to_base64(RandomBytes().data(), static_cast<int>(kSize), &n);
        return Owned(p, n);
    }();
    return text;
}

// Mail-like text: mostly ASCII words, some 8-bit bytes, CR LF lines.
const std::string &QpText()
{
    static const std::string text = [] {
        std::mt19937 rng(11);
        std::string plain;
        while (plain.size() < kSize) {
            const unsigned r = rng() % 100;
            plain += r < 80 ? static_cast<char>('a' + r % 26) : r < 90 ? ' ' : r < 98 ? static_cast<char>(0xA0 + r) : '=';
            if (rng() % 70 == 0)
                plain += "\r\n";
        }
        int n = 0;
        char *p = to_qprint(plain.data(), static_cast<int>(plain.size()), &n);
        return Owned(p, n);
    }();
    return text;
}

// Japanese text in EUC-JP: kanji and kana with ASCII words between.
const std::string &EucText()
{
    static const std::string text = [] {
        std::mt19937 rng(13);
        std::string s;
        while (s.size() < kSize) {
            for (int i = 0, n = 4 + static_cast<int>(rng() % 20); i < n; ++i) {
                s += static_cast<char>(0xB0 + rng() % 40);
                s += static_cast<char>(0xA1 + rng() % 94);
            }
            s += rng() % 4 == 0 ? " mail text, " : "\r\n";
        }
        return s;
    }();
    return text;
}

const std::string &JisText()
{
    static const std::string text = Owned(toJIS(EucText().c_str(), CHARSET_EUC));
    return text;
}

const std::string &SjisText()
{
    static const std::string text = Owned(fromJIS(JisText().c_str(), CHARSET_SJIS));
    return text;
}

// CPU seconds of this thread: a busy machine's preemptions do not count.
double ThreadSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Seconds per memcpy of n bytes, the best of several runs.
double MemcpySeconds(const std::string &input)
{
    std::vector<char> out(input.size());
    double best = 1e9;
    for (int i = 0; i < 20; ++i) {
        const double start = ThreadSeconds();
        std::memcpy(out.data(), input.data(), input.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
        best = std::min(best, ThreadSeconds() - start);
    }
    return best;
}

// Runs op over input and reports MB/s beside memcpy's.
template <class Op>
void Measure(benchmark::State &state, const std::string &input, Op op)
{
    const double copy = MemcpySeconds(input);
    double best = 1e9;
    for (auto _ : state) {
        const double start = ThreadSeconds();
        op();
        best = std::min(best, ThreadSeconds() - start);
    }
    const double mb = static_cast<double>(input.size()) / 1e6;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
    state.counters["MB/s"] = mb / best;
    state.counters["memcpy_MB/s"] = mb / copy;
    state.counters["x_memcpy"] = best / copy;
}

void BM_Memcpy(benchmark::State &state)
{
    const std::string &in = Base64Text();
    std::vector<char> out(in.size());
    Measure(state, in, [&] {
        std::memcpy(out.data(), in.data(), in.size());
        benchmark::DoNotOptimize(out.data());
    });
}

void BM_Base64Decode(benchmark::State &state)
{
    const std::string &in = Base64Text();
    Measure(state, in, [&] {
        int n = 0;
        char *p = from_base64(in.data(), static_cast<int>(in.size()), &n);
        benchmark::DoNotOptimize(p);
        std::free(p);
    });
}

void BM_Base64DecodeStrict(benchmark::State &state)
{
    const std::string &in = Base64Text();
    CDecodeMaster dm;
    Measure(state, in, [&] {
        int n = 0;
        char *p = dm.from_base64(in.data(), static_cast<int>(in.size()), &n);
        benchmark::DoNotOptimize(p);
        std::free(p);
    });
}

void BM_QpDecode(benchmark::State &state)
{
    std::string buffer = QpText();
    Measure(state, QpText(), [&] {
        int n = 0;
        char *p = from_qprint(buffer.data(), static_cast<int>(buffer.size()), &n);
        benchmark::DoNotOptimize(p);
        std::free(p);
    });
}

template <class Convert>
void Conversion(benchmark::State &state, const std::string &in, Convert convert)
{
    Measure(state, in, [&] {
        char *p = convert(in.c_str());
        benchmark::DoNotOptimize(p);
        std::free(p);
    });
}

void BM_EucToJis(benchmark::State &state)
{
    Conversion(state, EucText(), [](const char *t) { return toJIS(t, CHARSET_EUC); });
}

void BM_SjisToJis(benchmark::State &state)
{
    Conversion(state, SjisText(), [](const char *t) { return toJIS(t, CHARSET_SJIS); });
}

void BM_JisToEuc(benchmark::State &state)
{
    Conversion(state, JisText(), [](const char *t) { return fromJIS(t, CHARSET_EUC); });
}

void BM_JisToSjis(benchmark::State &state)
{
    Conversion(state, JisText(), [](const char *t) { return fromJIS(t, CHARSET_SJIS); });
}

void BM_SjisToEucFromAny(benchmark::State &state)
{
    Conversion(state, SjisText(), [](const char *t) { return fromANY(t, CHARSET_EUC); });
}

void BM_AutoDetect(benchmark::State &state)
{
    const std::string &in = SjisText();
    Measure(state, in, [&] { benchmark::DoNotOptimize(AutoDetect(in.c_str())); });
}

} // namespace

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Base64Decode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Base64DecodeStrict)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QpDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EucToJis)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SjisToJis)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JisToEuc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_JisToSjis)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SjisToEucFromAny)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AutoDetect)->Unit(benchmark::kMillisecond);
