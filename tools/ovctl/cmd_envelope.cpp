// ovctl envelope AF: what the plug-in reads from an envelope file. One line
// per stored value, "<letter>\t<value>" in the order F T O D C P S A R
// (letters without a value are left out), then "recipients\t<list>" with the
// de-duplicated recipient list when the file has one.
#include <cstdio>
#include <string>

#include "mail/mail_info.h"
#include "mail/mail_list.h"
#include "tools/ovctl/command.h"

namespace {

int run_envelope(const OvctlArgs &args)
{
    if (args.size() != 1)
        return ovctl_usage("envelope");
    const std::string &af = args[0];
    if (af == "-")
        return ovctl_fail("AF must be a file");
    std::string data, error;
    if (!ovctl_read_input(af, &data, &error))
        return ovctl_fail(error);

    CMailInfo info;
    info.ParseAFInfo(af.c_str(), true);
    const struct {
        char letter;
        const std::string &value;
    } values[] = {
        {'F', info.m_strEnvelopeFrom}, {'T', info.m_strEnvelopeTo}, {'O', info.m_strFrom},
        {'D', info.m_strTo},           {'C', info.m_strCc},         {'P', info.m_strReplyTo},
        {'S', info.m_strSubject},      {'A', info.m_strA},          {'R', info.m_strReceivedTime},
    };
    std::string out;
    for (const auto &value : values) {
        if (!value.value.empty())
            out += std::string(1, value.letter) + "\t" + value.value + "\n";
    }
    CMailList recipients;
    recipients.GatherMailList(af.c_str());
    if (recipients.GetListString() != nullptr)
        out += std::string("recipients\t") + recipients.GetListString() + "\n";
    ovctl_write_output(out);
    return 0;
}

const char kHelp[] =
    "Shows what the plug-in reads from an envelope (AF) file.\n"
    "One line per stored value, \"<letter>\\t<value>\", in the order F T O D C P S A R\n"
    "(letters without a value are left out), then \"recipients\\t<list>\" with the\n"
    "recipients the plug-in keeps, duplicates removed.\n";
const OvctlCommand reg{"envelope", "envelope AF", run_envelope, kHelp};

} // namespace
