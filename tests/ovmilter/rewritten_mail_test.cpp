// The header edits the MTA has to make for a message the plug-in rewrote:
// changes, then removals from the last, then additions.
#include "tools/ovmilter/rewritten_mail.h"

#include <gtest/gtest.h>

namespace {

using Fields = std::vector<HeaderField>;

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

TEST(RewrittenMail, HeaderEdits)
{
    const struct {
        const char *what;
        Fields before, after;
        const char *edits;
    } rows[] = {
        {"unchanged", {{"From", "a@b"}, {"Content-Type", " x"}}, {{"From", "a@b"}, {"content-type", "x"}},
         ""},
        {"three removed", {{"R", "1"}, {"S", "s"}, {"R", "2"}, {"R", "3"}}, {{"S", "s"}},
         "remove R#3; remove R#2; remove R#1"},
        {"added, name in any case", {{"content-TYPE", "a"}}, {{"Content-Type", "b"}, {"N", " n"}},
         "change content-TYPE#1=b; add N=n"},
        {"changes, then removals, then additions",
         {{"B", "1"}, {"B", "2"}, {"A", "1"}},
         {{"C", "1"}, {"A", "2"}, {"B", "1"}},
         "change A#1=2; remove B#2; add C=1"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(Describe(header_edits(row.before, row.after)), row.edits) << row.what;
}

} // namespace
