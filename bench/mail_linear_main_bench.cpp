// Costs that must grow linearly with a mail's size, each timed at two sizes.
//
//   bench_mail_linear_main [N]   (default 20 000)
//
// - envelope recipients: CMailList::GatherMailList over an envelope of N and
//   of 2N distinct "T" lines (every tenth line repeats an earlier address);
// - extraction names: `ovctl tnef extract`'s UniqueFileNames given N and 2N
//   equal attachment names.
// Prints the time of each size (best of three, CPU time) and their ratio:
// 2 is linear, 4 quadratic.
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "mail/mail_list.h"
#include "tools/ovctl/unique_file_names.h"

namespace {

double ProcessSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double BestOf3(const std::function<void()> &work)
{
    double best = 1e30;
    for (int i = 0; i < 3; ++i) {
        double start = ProcessSeconds();
        work();
        best = std::min(best, ProcessSeconds() - start);
    }
    return best;
}

std::string WriteEnvelope(const std::string &dir, size_t recipients)
{
    std::string path = dir + "/AF" + std::to_string(recipients);
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::fprintf(out, "F<sender@example.com>\n");
    for (size_t i = 0; i < recipients; ++i) {
        size_t n = i % 10 == 9 ? i / 2 : i;
        std::fprintf(out, "T<user%zu@department%zu.example.com>\n", n, n % 97);
    }
    std::fclose(out);
    return path;
}

double GatherSeconds(const std::string &dir, size_t recipients)
{
    std::string path = WriteEnvelope(dir, recipients);
    double seconds = BestOf3([&] {
        CMailList list;
        list.GatherMailList(path.c_str());
    });
    std::remove(path.c_str());
    return seconds;
}

double NamingSeconds(size_t names)
{
    return BestOf3([&] {
        UniqueFileNames unique;
        for (size_t i = 0; i < names; ++i)
            unique.Take("attachment.pdf");
    });
}

void PrintRow(const char *what, size_t n, double small, double large)
{
    std::printf("%-22s %8zu %10.1f %10.1f %8.2f\n", what, n, small * 1000, large * 1000,
                large / small);
}

} // namespace

int main(int argc, char **argv)
{
    size_t n = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 20000;
    const char *tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/bench_linear_XXXXXX";
    if (!mkdtemp(&dir[0])) {
        std::perror("mkdtemp");
        return 1;
    }
    std::printf("%-22s %8s %10s %10s %8s\n", "what", "N", "N ms", "2N ms", "2N/N");
    PrintRow("envelope recipients", n, GatherSeconds(dir, n), GatherSeconds(dir, 2 * n));
    PrintRow("tnef extraction names", n, NamingSeconds(n), NamingSeconds(2 * n));
    rmdir(dir.c_str());
    return 0;
}
