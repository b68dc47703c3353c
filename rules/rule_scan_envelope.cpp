// CRuleScan's reader of single envelope values: the first line of a letter,
// brackets stripped or kept, decoded to the host code.
#include <string>

#include "base/file_util.h"
#include "base/log.h"
#include "mail/envelope.h"
#include "rules/rule_scan.h"

bool CRuleScan::GetAFInfo(char letter, const char *afPath, std::string &value, bool raw)
{
    value.clear();
    if (!envelope::IsCommandLetter(letter))
        return false;
    f_read_text_file file(afPath);
    if (!file.is_open())
        return false;
    std::string line;
    while (file.read_a_line(line)) {
        if (line.empty() || line[0] != letter)
            continue;
        const std::string trimmed = envelope::TrimRight(line);
        std::string found;
        if (trimmed.size() <= 1) {
            if (raw)
                ovux_log->start() << "GetAFInfo(): Warning! " << letter
                                  << " command have no value." << Orvane::endl;
            return true;
        }
        if (raw)
            found = trimmed.substr(1);
        else if (!envelope::StripBrackets(trimmed, found))
            return true;
        value = envelope::DecodeValue(found);
        return true;
    }
    return false;
}
