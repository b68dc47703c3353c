// ovctl decode / encode / charset / header-decode on generated files: the
// bytes of the decoders and converters, the exit codes, and the host
// language option.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"

namespace {

// run_ovctl with standard error discarded, and standard input from a file
// when one is given (the commands read "-" or no FILE from it).
OvctlRun Ovctl(const std::vector<std::string> &words, const std::string &stdinFile = "")
{
    OvctlOptions options;
    options.mergeStderr = false;
    options.stdinFile = stdinFile;
    return run_ovctl(words, options);
}

TEST(CodecCommands, DecodeEncodeAndConvert)
{
    BaseTempDir tmp;
    const std::string b64 = tmp.write("b64", "QUJD\r\nREVG\r\n");
    const std::string bad = tmp.write("bad", "QQ=x");
    const std::string qp = tmp.write("qp", "a=3Db=\r\nc  \r\n");
    const std::string uu = tmp.write("uu", "#2&DA\n`\nend\n");
    const std::string sjis = tmp.write("sjis", "\x93\xFA\x96\x7B");
    const std::string euc = tmp.write("euc", "\xC6\xFC\xCB\xDC");
    const std::string plain = tmp.write("plain", "abc");
    const struct {
        std::vector<std::string> words;
        std::string stdinFile;
        int status;
        std::string out;
    } rows[] = {
        {{"decode", "base64", b64}, "", 0, "ABCDEF"},
        {{"decode", "base64"}, b64, 0, "ABCDEF"},
        {{"decode", "base64", "-"}, b64, 0, "ABCDEF"},
        {{"decode", "base64", bad}, "", 1, ""},
        {{"decode", "qp", qp}, "", 0, "a=bc\r\n"},
        {{"decode", "uu", uu}, "", 0, "Hi!"},
        {{"decode", "uu"}, uu, 0, "Hi!"},
        {{"decode", "hex", b64}, "", 2, ""},
        {{"decode", "base64", tmp.path("missing")}, "", 1, ""},
        {{"encode", "base64", plain}, "", 0, "YWJj\r\n"},
        {{"encode", "qp"}, tmp.write("eq", "a=b\xE9"), 0, "a=3Db=E9"},
        {{"charset", "detect", euc}, "", 0, "3 euc-jp\n"},
        {{"charset", "detect"}, sjis, 0, "2 shift_jis\n"},
        {{"charset", "detect", plain}, "", 0, "0 plain\n"},
        {{"charset", "convert", "--to", "3", sjis}, "", 0, "\xC6\xFC\xCB\xDC"},
        {{"charset", "convert", "--to", "SHIFT_JIS", euc}, "", 0, "\x93\xFA\x96\x7B"},
        {{"charset", "convert", "--to", "iso-2022-jp"}, euc, 0, "\x1B$BF|K\\\x1B(B"},
        {{"charset", "convert", "--to", "6", euc}, "", 2, ""},
        {{"charset", "convert", euc}, "", 2, ""},
        {{"header-decode", "=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?= x"}, "", 0, "\xC6\xFC\xCB\xDC x"},
        {{"header-decode", "--to", "2", "=?EUC-JP?Q?=C6=FC?="}, "", 0, "\x93\xFA"},
        {{"header-decode", "=?x?B?QQ=x?="}, "", 1, ""},
        {{"header-decode"}, "", 2, ""},
        {{"--host-language", "zh_CN.GB2312", "charset", "detect", plain}, "", 0, "0 plain\n"},
    };
    for (const auto &r : rows) {
        const OvctlRun run = Ovctl(r.words, r.stdinFile);
        std::string shown;
        for (const auto &w : r.words)
            shown += w + " ";
        EXPECT_EQ(run.status, r.status) << shown;
        if (r.status == 0) {
            EXPECT_EQ(run.output, r.out) << shown;
        }
    }
}

TEST(CodecCommands, HostLanguageChoosesTheChineseEuc)
{
    // GB 2312 through ISO-2022-CN reads back as EUC-CN on a Chinese host, and
    // as the EUC-JP kanji iconv knows on a Japanese one.
    BaseTempDir tmp;
    const std::string iso = tmp.write("cn", "\x1B$)A\x0E\x56\x50\x0F");
    EXPECT_EQ(Ovctl({"--host-language", "zh_CN.GB2312", "charset", "convert", "--to", "3", iso}).output,
              "\xD6\xD0");
    EXPECT_EQ(Ovctl({"--host-language", "ja_JP.eucJP", "charset", "convert", "--to", "3", iso}).output,
              "\xC3\xE6");
}

} // namespace
