// Keyword scan throughput beside GNU grep -F and Hyperscan.
//
//   bench_contscan_scan_main [MEGABYTES [KEYWORDS...]]   (default 50 MB;
//                              1 000, 10 000 and 100 000 keywords)
//
// Writes a text of real-looking words (a Zipf-distributed vocabulary of
// pseudo-words in sentences and lines like a mail's) into a scratch
// directory, then for 1 000, 10 000 and 100 000 keywords (words and two-word
// phrases mostly not in the text, a tenth taken from its vocabulary) builds
// the automaton and scans the file in file mode, single thread, case folded,
// as the plug-in does. In the same run `LC_ALL=C grep -F -c -f KEYWORDS TEXT`
// reads the same text (its count is kept, so grep reads every line), and a
// plain read of the file gives the ceiling. Prints MB/s, the ratio to grep,
// the build time and the automaton's size; each figure is the best of three
// runs, in CPU time (grep's from its rusage).
//
// A second table compares the scan loops alone on the text held in memory:
// the automaton's (KeywordScanner) beside Hyperscan's block-mode scan of the
// same keywords as caseless literals (when built with Hyperscan, Debian's
// libhyperscan-dev), both counting every hit, and the plug-in's memory mode
// (lowering each 99 999-byte MEMBUF in place, then scanning it). "x hs" is
// Hyperscan's time over ours: above 1 we are faster.
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "contscan/keyword_scanner.h"
#include "contscan/keyword_tree.h"
#include "contscan/policy.h"

#if OV_HAVE_HYPERSCAN
#include <hs.h>
#endif

namespace
{

// CPU seconds of this process, or of its waited-for children: the machine is
// shared, so CPU time is steadier than wall time for both sides.
double ProcessSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double ChildrenSeconds()
{
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    auto seconds = [](const timeval &t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The best time of `runs` calls, by the given clock.
double BestOf(int runs, double (*clock)(), const std::function<void()> &work)
{
    double best = 1e30;
    for (int i = 0; i < runs; ++i) {
        double start = clock();
        work();
        best = std::min(best, clock() - start);
    }
    return best;
}

// Pseudo-words from syllables, shaped like English ones.
class WordMaker
{
public:
    explicit WordMaker(uint32_t seed) : m_random(seed) {}

    std::string Word(int minLength, int maxLength)
    {
        static const char *const kOnsets[] = {
            "b",  "c",  "d",  "f",  "g",  "h",   "j",   "k",   "l",  "m",  "n",  "p",  "r",  "s",
            "t",  "v",  "w",  "y",  "z",  "st",  "tr",  "pl",  "ch", "sh", "th", "br", "gr", "cl",
            "fr", "sp", "bl", "cr", "dr", "gl",  "pr",  "sc",  "sk", "sl", "sm", "sn", "sw", "tw",
            "wh", "qu", "ph", "wr", "kn", "str", "spr", "thr", "",   "",   ""};
        static const char *const kVowels[] = {"a",  "e",  "i",  "o",  "u",  "ea", "ou", "io",
                                              "ai", "y",  "ee", "oo", "oa", "ie", "ei", "au",
                                              "ay", "ey", "oi", "a",  "e",  "i",  "o"};
        static const char *const kCodas[] = {
            "",   "",   "",   "n",  "r",  "s",  "t",  "l",  "nd", "ng", "ck", "st", "m",  "rt",
            "x",  "ld", "lt", "mp", "nt", "ns", "ct", "pt", "sk", "ft", "ss", "ll", "th", "sh",
            "ch", "gh", "rd", "rn", "rm", "rk", "d",  "p",  "g",  "b",  "ve", "se"};
        std::uniform_int_distribution<int> length(minLength, maxLength);
        size_t target = static_cast<size_t>(length(m_random));
        std::string word;
        while (word.size() < target) {
            word += Pick(kOnsets);
            word += Pick(kVowels);
            word += Pick(kCodas);
        }
        return word.substr(0, std::max<size_t>(target, 2));
    }

    std::mt19937 &random() { return m_random; }

private:
    template <size_t N> const char *Pick(const char *const (&table)[N])
    {
        return table[std::uniform_int_distribution<size_t>(0, N - 1)(m_random)];
    }

    std::mt19937 m_random;
};

std::vector<std::string> MakeVocabulary(WordMaker &maker, size_t count)
{
    std::unordered_set<std::string> seen;
    std::vector<std::string> words;
    static const char *const kCommon[] = {
        "the", "of", "and", "to", "a",    "in",  "is",   "you", "that", "it",   "he",   "was",
        "for", "on", "are", "as", "with", "his", "they", "at",  "be",   "this", "have", "from"};
    for (const char *word : kCommon) {
        seen.insert(word);
        words.push_back(word);
    }
    while (words.size() < count) {
        std::string word = maker.Word(2, 11);
        if (seen.insert(word).second)
            words.push_back(word);
    }
    return words;
}

// Lines of sentences, words chosen by a Zipf law over the vocabulary.
void WriteText(const std::string &path, const std::vector<std::string> &vocabulary, size_t bytes,
               std::mt19937 &random)
{
    std::vector<double> weights(vocabulary.size());
    for (size_t i = 0; i < weights.size(); ++i)
        weights[i] = 1.0 / std::pow(static_cast<double>(i + 1), 1.05);
    std::discrete_distribution<size_t> zipf(weights.begin(), weights.end());
    std::uniform_int_distribution<int> sentence(6, 20), lineLength(60, 78), percent(0, 99);
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::string line;
    size_t written = 0;
    int wordsLeft = 0;
    int width = lineLength(random);
    while (written < bytes) {
        std::string word = vocabulary[zipf(random)];
        if (wordsLeft == 0) {
            word[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(word[0])));
            wordsLeft = sentence(random);
        }
        if (--wordsLeft == 0)
            word += percent(random) < 80 ? "." : (percent(random) < 50 ? "?" : "!");
        else if (percent(random) < 6)
            word += ",";
        if (!line.empty() && static_cast<int>(line.size() + 1 + word.size()) > width) {
            line += "\n";
            if (percent(random) < 8)
                line += "\n"; // paragraph
            std::fwrite(line.data(), 1, line.size(), out);
            written += line.size();
            line.clear();
            width = lineLength(random);
        }
        if (!line.empty())
            line += ' ';
        line += word;
    }
    std::fclose(out);
}

// count keywords: 2 % words of the text's vocabulary (not among its 500
// most frequent), 10 % two-word phrases starting with one, the rest new
// words of 6 to 12 letters (shorter ones would sit inside every other word
// of the text, which no administrator would want).
std::vector<std::string> MakeKeywords(WordMaker &maker, const std::vector<std::string> &vocabulary,
                                      size_t count)
{
    std::unordered_set<std::string> seen;
    std::vector<std::string> keywords;
    std::uniform_int_distribution<size_t> rareWord(500, vocabulary.size() - 1);
    std::uniform_int_distribution<int> percent(0, 99);
    while (keywords.size() < count) {
        int kind = percent(maker.random());
        std::string keyword;
        if (kind < 2)
            keyword = vocabulary[rareWord(maker.random())];
        else if (kind < 12)
            keyword = vocabulary[rareWord(maker.random())] + " " + maker.Word(4, 9);
        else
            keyword = maker.Word(6, 12);
        if (keyword.size() >= 5 && seen.insert(keyword).second)
            keywords.push_back(keyword);
    }
    return keywords;
}

// A set with one enabled policy holding one list per keyword.
POLICYSET *MakePolicySet(const std::vector<std::string> &keywords)
{
    POLICYSET *set = static_cast<POLICYSET *>(std::calloc(1, sizeof(POLICYSET)));
    POLICY_STRU *policy = AddPolicy(set, "Bench");
    for (const std::string &keyword : keywords)
        AddKeywordList(policy, keyword.c_str());
    return set;
}

// Runs grep and returns its count of matching lines.
long RunGrep(const std::string &keywords, const std::string &text)
{
    std::string command = "LC_ALL=C grep -F -c -f '" + keywords + "' '" + text + "'";
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return -1;
    long count = -1;
    if (std::fscanf(pipe, "%ld", &count) != 1)
        count = -1;
    pclose(pipe);
    return count;
}

size_t ReadWhole(const std::string &path)
{
    static std::vector<char> buffer(256 * 1024);
    FILE *in = std::fopen(path.c_str(), "rb");
    size_t total = 0;
    size_t got;
    while ((got = std::fread(buffer.data(), 1, buffer.size(), in)) > 0)
        total += got;
    std::fclose(in);
    return total;
}

std::string ReadFile(const std::string &path)
{
    std::string text;
    FILE *in = std::fopen(path.c_str(), "rb");
    char buffer[1 << 16];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, in)) > 0)
        text.append(buffer, got);
    std::fclose(in);
    return text;
}

// The automaton's scan loop over text in memory; returns the hits.
size_t ScanLoop(const KEYWORDTREE *tree, const std::string &text)
{
    KEYWORD_MATCH_SET matches = {};
    KeywordScanner scanner(tree, false, false, &matches);
    const unsigned char *begin = reinterpret_cast<const unsigned char *>(text.data());
    scanner.ScanStreams(begin, begin + text.size());
    size_t hits = 0;
    for (KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext)
        ++hits;
    FreeKeywordMatchSet(&matches);
    return hits;
}

// The plug-in's memory mode: each MEMBUF-sized piece copied in, lowered in
// place and scanned; returns the hits.
size_t MembufScan(const KEYWORDTREE *tree, const std::string &text, const std::string &path)
{
    static MEMBUF membuf;
    size_t hits = 0;
    constexpr size_t kPiece = sizeof membuf.m_szData - 1;
    for (size_t at = 0; at < text.size(); at += kPiece) {
        size_t length = std::min(kPiece, text.size() - at);
        std::memcpy(membuf.m_szData, text.data() + at, length);
        membuf.m_szData[length] = 0;
        membuf.m_bInMemory = 1;
        KEYWORD_MATCH_SET matches = {};
        AhoCorasickStringSearch(const_cast<KEYWORDTREE *>(tree), &membuf, path.c_str(), 0, 0,
                                &matches);
        for (KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext)
            ++hits;
        FreeKeywordMatchSet(&matches);
    }
    return hits;
}

#if OV_HAVE_HYPERSCAN
// The keywords as one caseless literal database, and its scratch space.
class HyperscanLiterals
{
public:
    explicit HyperscanLiterals(const std::vector<std::string> &keywords)
    {
        std::vector<const char *> texts;
        std::vector<size_t> lengths;
        std::vector<unsigned> flags(keywords.size(), HS_FLAG_CASELESS);
        std::vector<unsigned> ids(keywords.size());
        for (size_t i = 0; i < keywords.size(); ++i) {
            texts.push_back(keywords[i].c_str());
            lengths.push_back(keywords[i].size());
            ids[i] = static_cast<unsigned>(i);
        }
        hs_compile_error_t *error = nullptr;
        if (hs_compile_lit_multi(texts.data(), flags.data(), ids.data(), lengths.data(),
                                 static_cast<unsigned>(texts.size()), HS_MODE_BLOCK, nullptr,
                                 &m_database, &error) != HS_SUCCESS) {
            std::fprintf(stderr, "hyperscan: %s\n", error ? error->message : "?");
            hs_free_compile_error(error);
            std::exit(1);
        }
        hs_alloc_scratch(m_database, &m_scratch);
    }
    ~HyperscanLiterals()
    {
        hs_free_scratch(m_scratch);
        hs_free_database(m_database);
    }
    HyperscanLiterals(const HyperscanLiterals &) = delete;
    HyperscanLiterals &operator=(const HyperscanLiterals &) = delete;

    // Every hit in text.
    size_t Scan(const std::string &text) const
    {
        size_t hits = 0;
        hs_scan(m_database, text.data(), static_cast<unsigned>(text.size()), 0, m_scratch,
                [](unsigned, unsigned long long, unsigned long long, unsigned, void *context) {
                    ++*static_cast<size_t *>(context);
                    return 0;
                },
                &hits);
        return hits;
    }

private:
    hs_database_t *m_database = nullptr;
    hs_scratch_t *m_scratch = nullptr;
};

double HyperscanBuildSeconds(const std::vector<std::string> &keywords)
{
    return BestOf(3, ProcessSeconds, [&] { HyperscanLiterals literals(keywords); });
}
#endif

// The scan loops alone on the text in memory, one line per keyword count.
void CompareScanLoops(const KEYWORDTREE *tree, const std::vector<std::string> &keywords,
                      const std::string &text, const std::string &path, double mb)
{
    size_t hits = 0, membufHits = 0;
    double loopSeconds = BestOf(3, ProcessSeconds, [&] { hits = ScanLoop(tree, text); });
    std::string copy = text;
    double membufSeconds =
        BestOf(3, ProcessSeconds, [&] { membufHits = MembufScan(tree, copy, path); });
    std::printf("%9zu %10zu %12.0f %12.0f", keywords.size(), hits, mb / loopSeconds,
                mb / membufSeconds);
#if OV_HAVE_HYPERSCAN
    HyperscanLiterals literals(keywords);
    size_t hsHits = 0;
    double hsSeconds = BestOf(3, ProcessSeconds, [&] { hsHits = literals.Scan(text); });
    std::printf(" %12.0f %9.2f %10zu %12.1f", mb / hsSeconds, hsSeconds / loopSeconds, hsHits,
                HyperscanBuildSeconds(keywords) * 1000);
#endif
    std::printf(" %10zu\n", membufHits);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 50;
    const char *tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/bench_contscan_XXXXXX";
    if (!mkdtemp(&dir[0])) {
        std::perror("mkdtemp");
        return 1;
    }
    std::string textPath = dir + "/text.txt";
    WordMaker maker(1036);
    std::vector<std::string> vocabulary = MakeVocabulary(maker, 40000);
    WriteText(textPath, vocabulary, megabytes << 20, maker.random());
    struct stat info;
    stat(textPath.c_str(), &info);
    double mb = static_cast<double>(info.st_size) / (1 << 20);
    double readSeconds = BestOf(3, ProcessSeconds, [&] { ReadWhole(textPath); });
    std::printf("text: %.1f MB of pseudo-words; plain read %.0f MB/s\n\n", mb, mb / readSeconds);
    std::printf("%9s %10s %12s %12s %9s %10s %10s %9s %9s\n", "keywords", "hits", "scan MB/s",
                "grep MB/s", "x grep", "build ms", "tree MB", "B/keyword", "lines");

    std::vector<size_t> counts;
    std::vector<std::vector<std::string>> keywordSets;
    for (int i = 2; i < argc; ++i)
        counts.push_back(std::strtoul(argv[i], nullptr, 10));
    if (counts.empty())
        counts = {1000, 10000, 100000};
    for (size_t count : counts) {
        keywordSets.push_back(MakeKeywords(maker, vocabulary, count));
        const std::vector<std::string> &keywords = keywordSets.back();
        std::string keywordPath = dir + "/keywords." + std::to_string(count);
        FILE *out = std::fopen(keywordPath.c_str(), "wb");
        for (const std::string &keyword : keywords)
            std::fprintf(out, "%s\n", keyword.c_str());
        std::fclose(out);

        POLICYSET *set = MakePolicySet(keywords);
        double buildSeconds = BestOf(3, ProcessSeconds, [&] { BuildKeywordTree(set); });
        size_t hits = 0;
        double scanSeconds = BestOf(3, ProcessSeconds, [&] {
            KEYWORD_MATCH_SET matches = {};
            AhoCorasickStringSearch(set->m_pKeywordTree, nullptr, textPath.c_str(), 0, 0, &matches);
            hits = 0;
            for (KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext)
                ++hits;
            FreeKeywordMatchSet(&matches);
        });
        long lines = 0;
        double grepSeconds =
            BestOf(3, ChildrenSeconds, [&] { lines = RunGrep(keywordPath, textPath); });
        double scanRate = mb / scanSeconds;
        double grepRate = mb / grepSeconds;
        size_t bytes = KeywordTreeMemory(set->m_pKeywordTree);
        std::printf("%9zu %10zu %12.0f %12.0f %9.2f %10.1f %10.1f %9.0f %9ld\n", count, hits,
                    scanRate, grepRate, scanRate / grepRate, buildSeconds * 1000,
                    static_cast<double>(bytes) / (1 << 20),
                    static_cast<double>(bytes) / static_cast<double>(count), lines);
        std::fflush(stdout);
        FreePolicySet(set);
        std::remove(keywordPath.c_str());
    }

    std::printf("\nscan loops on the text in memory (MB/s; hits of each)\n");
    std::printf("%9s %10s %12s %12s", "keywords", "hits", "loop MB/s", "membuf MB/s");
#if OV_HAVE_HYPERSCAN
    std::printf(" %12s %9s %10s %12s", "hs MB/s", "x hs", "hs hits", "hs build ms");
#endif
    std::printf(" %10s\n", "membuf hits");
    std::string text = ReadFile(textPath);
    for (const std::vector<std::string> &keywords : keywordSets) {
        POLICYSET *set = MakePolicySet(keywords);
        BuildKeywordTree(set);
        CompareScanLoops(set->m_pKeywordTree, keywords, text, textPath, mb);
        FreePolicySet(set);
    }
    std::remove(textPath.c_str());
    rmdir(dir.c_str());
    return 0;
}
