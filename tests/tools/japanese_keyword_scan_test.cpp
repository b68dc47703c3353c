// A keyword policy finds Japanese words in bodies whose encoded lines end
// inside the word's escape sequence or right after its lead byte: the
// plug-in judges the mails through ovctl scan.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/base_temp_dir.h"
#include "support/mail_japanese_text.h"
#include "support/plugin_installation.h"
#include "support/plugin_mail_corpus.h"
#include "support/tools_ovctl.h"

namespace {

// A body of two encoded lines cut after the first `cut` bytes of `line`.
std::string CutBody(const std::string &encoding, const std::string &line, size_t cut)
{
    if (encoding == "base64")
        return Base64Line(line.substr(0, cut)) + "\r\n" + Base64Line(line.substr(cut)) + "\r\n";
    return QpLines(line.substr(0, cut)) + "=\r\n" + QpLines(line.substr(cut));
}

TEST(JapaneseKeywordScan, KeywordCutByTheLineEndIsFound)
{
    const std::string text = u8"see attached 会議 notes\r\n";
    const size_t before = std::string("see attached ").size();
    struct Row {
        const char *iconvName;
        const char *charset;
        size_t cut;   // bytes of the converted line on the first encoded line
    } rows[] = {
        {"ISO-2022-JP", "iso-2022-jp", before + 1},   // after ESC
        {"ISO-2022-JP", "iso-2022-jp", before + 2},   // after ESC "$"
        {"SHIFT_JIS", "shift_jis", before + 1},     // after the lead byte
        {"EUC-JP", "euc-jp", before + 1},
    };
    PluginInstallation install;   // policy "Japanese": 会議, archived
    BaseTempDir mails;
    std::vector<std::string> words = {"scan", "--root", install.root()};
    std::string expected;
    int n = 0;
    for (const Row &row : rows) {
        std::string line = PluginConvert(text, row.iconvName);
        for (const char *encoding : {"base64", "quoted-printable"}) {
            std::string path =
                mails.write("mail" + std::to_string(++n) + ".eml",
                            JapaneseMail(row.charset, encoding, CutBody(encoding, line, row.cut)));
            words.push_back(path);
            expected += path + "\tblocked\tarchived\tJapanese\t-\n";
        }
    }
    OvctlRun run = run_ovctl(words, false);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, expected);
}

} // namespace
