// ovctl decode / encode / charset / header-decode on generated files.
#include "tools/ovctl_cases.h"

namespace
{

TEST(CodecCommands, DecodeEncodeAndConvert)
{
    BaseTempDir tmp;
    const std::string b64 = tmp.write("b64", "QUJD\r\nREVG\r\n");
    const std::string uu = tmp.write("uu", "#2&DA\n`\nend\n");
    const std::string sjis = tmp.write("sjis", "\x93\xFA\x96\x7B");
    const std::string euc = tmp.write("euc", "\xC6\xFC\xCB\xDC");
    const std::string plain = tmp.write("plain", "abc");
    // GB 2312 through ISO-2022-CN: EUC-CN on a Chinese host, the EUC-JP kanji on a Japanese one.
    const std::string cn = tmp.write("cn", "\x1B$)A\x0E\x56\x50\x0F");
    OvctlOptions options;
    options.mergeStderr = false;
    expect_ovctl_cases(
        {
            {{"decode", "base64", b64}, 0, "ABCDEF"},
            {{"decode", "base64"}, 0, "ABCDEF", b64},
            {{"decode", "base64", tmp.write("bad", "QQ=x")}, 1, ""},
            {{"decode", "qp", tmp.write("qp", "a=3Db=\r\nc  \r\n")}, 0, "a=bc\r\n"},
            {{"decode", "uu", uu}, 0, "Hi!"},
            {{"decode", "uu"}, 0, "Hi!", uu},
            {{"decode", "hex", b64}, 2, ""},
            {{"decode", "base64", tmp.path("missing")}, 1, ""},
            {{"encode", "base64", plain}, 0, "YWJj\r\n"},
            {{"encode", "qp"}, 0, "a=3Db=E9", tmp.write("eq", "a=b\xE9")},
            {{"charset", "detect", euc}, 0, "3 euc-jp\n"},
            {{"charset", "detect"}, 0, "2 shift_jis\n", sjis},
            {{"charset", "detect", plain}, 0, "0 plain\n"},
            {{"charset", "convert", "--to", "3", sjis}, 0, "\xC6\xFC\xCB\xDC"},
            {{"charset", "convert", "--to", "SHIFT_JIS", euc}, 0, "\x93\xFA\x96\x7B"},
            {{"charset", "convert", "--to", "iso-2022-jp"}, 0, "\x1B$BF|K\\\x1B(B", euc},
            {{"charset", "convert", "--to", "6", euc}, 2, ""},
            {{"header-decode", "=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?= x"}, 0, "\xC6\xFC\xCB\xDC x"},
            {{"header-decode", "--to", "2", "=?EUC-JP?Q?=C6=FC?="}, 0, "\x93\xFA"},
            {{"header-decode", "=?x?B?QQ=x?="}, 1, ""},
            {{"--host-language", "zh_CN.GB2312", "charset", "detect", plain}, 0, "0 plain\n"},
            {{"--host-language", "zh_CN.GB2312", "charset", "convert", "--to", "3", cn}, 0, "\xD6\xD0"},
            {{"--host-language", "ja_JP.eucJP", "charset", "convert", "--to", "3", cn}, 0, "\xC3\xE6"},
        },
        options);
}

} // namespace
