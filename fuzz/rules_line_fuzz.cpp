// Fuzzes rule lines: the loader's ParseLine and the editor's CheckSyntax on
// the same bytes. A line the editor accepts must load, and its field ends
// must lie inside the line.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "rules/rule_scan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string line(reinterpret_cast<const char *>(data), size);
    CRuleScan scan;
    char error[RULE_ERROR_SIZE];
    bool loaded = scan.ParseLine(line.c_str(), error);
    if (loaded != (scan.GetCount() == 1))
        std::abort();
    for (bool checkAction : {false, true}) {
        int nameEnd = -1, typeEnd = -1, sentenceEnd = -1;
        if (!scan.CheckSyntax(line.c_str(), nameEnd, typeEnd, sentenceEnd, checkAction))
            continue;
        int length = static_cast<int>(line.find('\0') == std::string::npos ? size : line.find('\0'));
        if (!loaded || nameEnd < 0 || nameEnd >= typeEnd || typeEnd >= sentenceEnd ||
            sentenceEnd > length)
            std::abort();
    }
    return 0;
}
