// A message the plug-in rewrote in the spool, read back: its split into
// header fields and body, and the header edits the MTA has to make.
#include "tools/ovmilter/rewritten_mail.h"

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"

namespace {

using Fields = std::vector<HeaderField>;

std::string Describe(const Fields &fields)
{
    std::string text;
    for (const HeaderField &field : fields)
        text += "[" + field.name + "|" + field.value + "]";
    return text;
}

std::string Describe(const std::vector<HeaderEdit> &edits)
{
    static const char *const kinds[] = {"change", "remove", "add"};
    std::string text;
    for (const HeaderEdit &edit : edits) {
        text += text.empty() ? "" : "; ";
        text += std::string(kinds[edit.kind]) + " " + edit.name;
        if (edit.kind != HeaderEdit::Add)
            text += "#" + std::to_string(edit.index);
        if (edit.kind != HeaderEdit::Remove)
            text += "=" + edit.value;
    }
    return text;
}

TEST(RewrittenMail, SplitsHeadersFromBody)
{
    const struct {
        const char *message, *headers, *body;
    } rows[] = {
        {"A: 1\r\nB:  two\r\n\tmore\r\n  end\r\n\r\nbody\r\n\r\nline\r\n",
         "[A|1][B|two\r\n\tmore\r\n  end]", "body\r\n\r\nline\r\n"},
        {"A: 1\nB: 2\n\nline\n", "[A|1][B|2]", "line\n"},
        {"A: 1\r\n", "[A|1]", ""},
        {"A: 1", "[A|1]", ""},
        {"A:\r\n\r\n", "[A|]", ""},
        {"Not a header\r\nA: 1\r\n\r\nx", "[Not a header|][A|1]", "x"},
        {"\r\nbody only", "", "body only"},
        {"", "", ""},
    };
    BaseTempDir dir;
    for (const auto &row : rows) {
        // Read from the data file, as the judge does.
        RewrittenMail mail;
        std::string error;
        ASSERT_TRUE(read_rewritten_mail(dir.write("DFI1", row.message), &mail, &error)) << error;
        EXPECT_EQ(Describe(mail.headers), row.headers) << row.message;
        EXPECT_EQ(mail.body, row.body) << row.message;
    }
    RewrittenMail mail;
    std::string error;
    EXPECT_FALSE(read_rewritten_mail(dir.path("DFI2"), &mail, &error));
    EXPECT_NE(error.find(dir.path("DFI2")), std::string::npos) << error;
}

TEST(RewrittenMail, HeaderEdits)
{
    const struct {
        const char *what;
        Fields before, after;
        const char *edits;
    } rows[] = {
        {"unchanged",
         {{"From", "a@b"}, {"Content-Type", " text/plain"}},
         {{"From", "a@b"}, {"content-type", "text/plain"}},
         ""},
        {"changed type",
         {{"From", "a@b"}, {"Content-Type", "multipart/mixed;\r\n\tboundary=\"x\""}},
         {{"From", "a@b"}, {"Content-Type", "text/plain; charset=us-ascii"}},
         "change Content-Type#1=text/plain; charset=us-ascii"},
        {"second of two removed",
         {{"X-Tag", "1"}, {"Subject", "s"}, {"X-Tag", "2"}},
         {{"X-Tag", "1"}, {"Subject", "s"}},
         "remove X-Tag#2"},
        {"three removed",
         {{"R", "1"}, {"S", "s"}, {"R", "2"}, {"R", "3"}},
         {{"S", "s"}},
         "remove R#3; remove R#2; remove R#1"},
        {"added", {{"S", "s"}}, {{"S", "s"}, {"X-Note", " n"}}, "add X-Note=n"},
        {"names in any case",
         {{"content-TYPE", "a"}},
         {{"Content-Type", "b"}},
         "change content-TYPE#1=b"},
        {"changes, then removals, then additions",
         {{"B", "1"}, {"B", "2"}, {"A", "1"}},
         {{"C", "1"}, {"A", "2"}, {"B", "1"}},
         "change A#1=2; remove B#2; add C=1"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(Describe(header_edits(row.before, row.after)), row.edits) << row.what;
}

} // namespace
