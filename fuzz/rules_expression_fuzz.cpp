// Fuzz target: rule sentences parsed and evaluated against arbitrary
// envelopes. Input: a sentence, a NUL byte, then the envelope file's bytes.
// The envelope's values also serve as relay hosts, an attachment and its
// contained name, so that every term kind meets hostile text.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "mail/mail_info.h"
#include "rules/expression.h"

namespace {

const std::string &ScratchFile()
{
    static const std::string path = [] {
        const char *dir = std::getenv("TMPDIR");
        return std::string(dir && *dir ? dir : "/tmp") + "/fuzz_expression_" +
               std::to_string(getpid());
    }();
    return path;
}

void AddHost(CMailInfo &info, const std::string &text)
{
    std::vector<char> host(text.begin(), text.end());
    host.push_back('\0');
    info.AddDomain(host.data());
}

void FillMail(CMailInfo &info, const uint8_t *data, size_t size)
{
    const std::string &path = ScratchFile();
    FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return;
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    info.ParseAFInfo(path.c_str(), size % 2 == 0);
    info.m_nMailSize = static_cast<int>(size);
    AddHost(info, info.m_strEnvelopeTo);
    AddHost(info, info.m_strCc);
    std::vector<char> name(info.m_strSubject.begin(), info.m_strSubject.end());
    name.push_back('\0');
    std::vector<char> type(info.m_strTo.begin(), info.m_strTo.end());
    type.push_back('\0');
    info.AddAttach(name.data(), type.data());
    if (info.m_nAttachCount > 0) {
        info.m_pAttach[0]->AddFileName(info.m_strA.c_str(), false);
        info.m_pAttach[0]->AddFileName(info.m_strReplyTo.c_str(), false);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const uint8_t *end = data + size;
    const uint8_t *nul = static_cast<const uint8_t *>(std::memchr(data, '\0', size));
    std::string sentence(reinterpret_cast<const char *>(data),
                         nul ? static_cast<size_t>(nul - data) : size);
    const uint8_t *af = nul ? nul + 1 : end;

    CExpression rule;
    bool checked = rule.ParseExpression(sentence.c_str(), false);
    bool parsed = rule.ParseExpression(sentence.c_str(), true);
    if (checked != parsed || rule.GetTermCount() > MAX_TERM_COUNT)
        std::abort();

    // GetNextTerm must consume the sentence in the same steps.
    std::vector<char> rest(sentence.begin(), sentence.end());
    rest.push_back('\0');
    std::vector<char> term(rest.size());
    while (rest[0] != '\0' && rule.GetNextTerm(rest.data(), term.data())) {
    }

    CMailInfo info;
    FillMail(info, af, static_cast<size_t>(end - af));
    rule.Evaluate(&info);
    info.m_bChecked[0] = 1;
    rule.Evaluate(&info);
    return 0;
}
