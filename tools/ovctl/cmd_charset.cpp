// ovctl charset / header-decode: the character-set detector and converters
// and the encoded-word decoder, with the values of a started plug-in (host
// code EUC; the host language from --host-language).
//
//   ovctl charset detect [FILE]              prints "<code> <name>"
//   ovctl charset convert --to CODE [FILE]   the bytes of fromANY(text, CODE)
//   ovctl header-decode [--to CODE] TEXT     rfc1342_decode(TEXT, 3), then
//                                            fromANY to CODE (default 3)
//
// CODE is 0 to 5 or a name: plain, iso-2022-jp, shift_jis, euc-jp,
// iso-2022-cn, iso-2022-cn-ext. Texts are C strings: input stops at a NUL.
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "mail/charset.h"
#include "tools/ovctl/command.h"

namespace {

const char *const kNames[] = {"plain",       "iso-2022-jp",     "shift_jis",     "euc-jp",
                              "iso-2022-cn", "iso-2022-cn-ext", "encoded-words"};

struct Freer {
    void operator()(char *p) const { std::free(p); }
};

// A target code from "0".."5" or a name; -1 when it is neither.
int parse_code(const std::string &word)
{
    if (word.size() == 1 && word[0] >= '0' && word[0] <= '5')
        return word[0] - '0';
    for (int code = 0; code <= CHARSET_ISO2022CNEXT; ++code)
        if (strcasecmp(word.c_str(), kNames[code]) == 0)
            return code;
    return -1;
}

int charset_detect(const OvctlArgs &args)
{
    if (args.size() > 2)
        return ovctl_usage("charset");
    std::string text;
    std::string error;
    if (!ovctl_read_input(args.size() == 2 ? args[1] : "-", &text, &error))
        return ovctl_fail(error);
    const int code = AutoDetect(text.c_str());
    std::printf("%d %s\n", code, kNames[code]);
    return 0;
}

int charset_convert(const OvctlArgs &args)
{
    if (args.size() < 3 || args.size() > 4 || args[1] != "--to")
        return ovctl_usage("charset");
    const int code = parse_code(args[2]);
    if (code < 0)
        return ovctl_usage("charset");
    std::string text;
    std::string error;
    if (!ovctl_read_input(args.size() == 4 ? args[3] : "-", &text, &error))
        return ovctl_fail(error);
    std::unique_ptr<char, Freer> converted(fromANY(text.c_str(), code));
    if (!converted)
        return ovctl_fail("conversion failed");
    ovctl_write_output(converted.get());
    return 0;
}

int run_charset(const OvctlArgs &args)
{
    if (!args.empty() && args[0] == "detect")
        return charset_detect(args);
    if (!args.empty() && args[0] == "convert")
        return charset_convert(args);
    return ovctl_usage("charset");
}

int run_header_decode(const OvctlArgs &args)
{
    int code = CHARSET_EUC;
    size_t at = 0;
    if (!args.empty() && args[0] == "--to") {
        if (args.size() < 2 || (code = parse_code(args[1])) < 0)
            return ovctl_usage("header-decode");
        at = 2;
    }
    if (args.size() != at + 1)
        return ovctl_usage("header-decode");
    RFC1342_DECODED decoded;
    if (rfc1342_decode(args[at].c_str(), &decoded, CHARSET_EUC) != 0)
        return ovctl_fail("cannot decode the header text");
    std::unique_ptr<char, Freer> text(decoded.m_pszText);
    std::unique_ptr<char, Freer> converted(fromANY(text.get(), code));
    ovctl_write_output(converted ? converted.get() : text.get());
    return 0;
}

const char kCharsetHelp[] =
    "Detects and converts the Japanese and Chinese character codes as the plug-in does.\n"
    "  detect [FILE]             prints \"<code> <name>\" of the code detected\n"
    "  convert --to CODE [FILE]  writes the text converted to CODE\n"
    "CODE is 0 to 5 or a name: plain, iso-2022-jp, shift_jis, euc-jp, iso-2022-cn,\n"
    "iso-2022-cn-ext. FILE absent or \"-\" is standard input.\n";
const char kHeaderDecodeHelp[] =
    "Decodes the RFC 2047 encoded words of a header value to the host code.\n"
    "TEXT is decoded as the plug-in decodes a header, then converted to CODE\n"
    "(default 3, euc-jp; names as for \"ovctl charset\").\n";
const OvctlCommand charset_reg{"charset",
                               "charset detect [FILE] | charset convert --to CODE [FILE]",
                               run_charset, kCharsetHelp};
const OvctlCommand header_reg{"header-decode", "header-decode [--to CODE] TEXT",
                              run_header_decode, kHeaderDecodeHelp};

} // namespace
