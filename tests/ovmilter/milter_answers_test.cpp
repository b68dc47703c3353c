// What the milter tells the MTA: the answer to each verdict of the plug-in
// (and the faults that hold the mail whatever the verdict), the mail's
// direction from the sender's domain and the client's network, and the
// header edits for a message the plug-in rewrote.
#include "tools/ovmilter/verdict.h"
#include "tools/ovmilter/direction.h"
#include "tools/ovmilter/rewritten_mail.h"

#include <gtest/gtest.h>

namespace {

TEST(Verdict, AnswerForEachResultAndFault)
{
    const MilterReply A = MilterReply::Accept, D = MilterReply::Discard, R = MilterReply::Reject,
                      T = MilterReply::Tempfail;
    const uint32_t copy = OV_FAULT_COPY, notify = OV_FAULT_NOTIFY;
    const struct {
        int code, blocked, action;
        uint32_t faults;
        MilterReply discardReply, rejectReply;
        bool replaceBody;
        const char *word;
    } rows[] = {
        {0, 0, 0, 0, A, A, false, "pass"},         {2, 0, 0, 0, D, R, false, "blocked"},
        {0, 1, 0, 0, D, R, false, "blocked"},      {2, 1, 1, 0, D, R, false, "deleted"},
        {0, 0, 2, 0, D, R, false, "quarantined"},  // a policy's quarantine
        {2, 0, 3, 0, D, R, false, "archived"},     {0, 0, 4, 0, A, A, true, "replaced"},
        {2, 0, 4, 0, D, R, false, "blocked"},      {0, 0, 5, 0, A, A, false, "pass"},
        {1, 0, 0, 0, A, A, false, "pass"},         {-6, 0, 0, 0, T, T, false, "error"},
        {-8, 1, 4, 0, T, T, false, "error"},       {-9, 0, 0, 0, T, T, false, "error"},
        {2, 0, 2, copy, T, T, false, "error"},     {0, 0, 3, copy, T, T, false, "error"},
        {0, 0, 0, OV_FAULT_REPLACE, T, T, false, "error"},
        {0, 0, 0, OV_FAULT_TEMP, T, T, false, "error"},
        {2, 0, 1, OV_FAULT_TEMP | notify, T, T, false, "error"},
        {2, 0, 1, notify, D, R, false, "deleted"}, {0, 0, 4, notify, A, A, true, "replaced"},
    };
    for (const auto &row : rows) {
        ZWMailResult result{};
        result.blocked = row.blocked;
        result.action = row.action;
        for (BlockReply onBlock : {BlockReply::Discard, BlockReply::Reject}) {
            const MilterVerdict verdict = decide_verdict(row.code, result, row.faults, onBlock);
            SCOPED_TRACE(std::to_string(row.code) + "/" + std::to_string(row.blocked) + "/" +
                         std::to_string(row.action) + "/" + std::to_string(row.faults) +
                         (onBlock == BlockReply::Reject ? " reject" : " discard"));
            EXPECT_EQ(verdict.reply,
                      onBlock == BlockReply::Reject ? row.rejectReply : row.discardReply);
            EXPECT_EQ(verdict.replaceBody, row.replaceBody);
            EXPECT_STREQ(verdict.word, row.word);
        }
    }
}

TEST(MailDirection, SenderDomainsAndClientNetworksAndBadNetworksRefused)
{
    MailDirection direction;
    std::string error;
    ASSERT_TRUE(direction.configure({"Example.COM", "@corp.example"},
                                    {"192.0.2.0/24", "198.51.100.128/25", "203.0.113.7/32",
                                     "203.0.113.9", "2001:db8::/32", "::1"},
                                    &error))
        << error;
    const struct {
        const char *sender, *client;
        bool outbound;
    } rows[] = {
        {"alice@example.com", "", true}, {"<Alice@EXAMPLE.com>", "", true},
        {"bob@mail.Example.com", "", true}, {"carol@corp.example", "", true},
        {"a@example.com.evil.test", "", false}, {"a@xexample.com", "", false},
        {"<>", "", false}, {"\"a@example.com\"@other.test", "", false},
        {"<x@other.test>", "192.0.2.255", true}, {"<x@other.test>", "192.0.3.1", false},
        {"<x@other.test>", "198.51.100.200", true}, {"<x@other.test>", "198.51.100.127", false},
        {"<x@other.test>", "203.0.113.7", true}, {"<x@other.test>", "203.0.113.8", false},
        {"<x@other.test>", "203.0.113.9", true}, {"<x@other.test>", "2001:db8:1::5", true},
        {"<x@other.test>", "2001:db9::1", false}, {"<x@other.test>", "::2", false},
        {"<x@other.test>", "unknown", false}, {"<x@other.test>", "192.0.2", false},
        {"<x@example.com>", "198.18.0.1", true}, // either test makes the mail outbound
    };
    for (const auto &row : rows)
        EXPECT_EQ(direction.is_outbound(row.sender, row.client), row.outbound)
            << row.sender << " " << row.client;

    ASSERT_TRUE(direction.configure({}, {"0.0.0.0/0"}, &error)) << error;
    EXPECT_TRUE(direction.is_outbound("<x@other.test>", "198.18.0.1"));
    EXPECT_FALSE(direction.is_outbound("<x@other.test>", "2001:db8::1"));
    EXPECT_FALSE(direction.is_outbound("<x@example.com>", "")); // the old domains are gone

    for (const char *network : {"10.0.0.0/33", "host.example", "1.2.3.4/", "1.2.3.4/-1",
                                "1.2.3.4/24x", "::1/129", "/24", "10.0.0/8", ""}) {
        EXPECT_FALSE(direction.configure({}, {"192.0.2.0/24", network}, &error)) << network;
        EXPECT_NE(error.find(std::string("\"") + network + "\""), std::string::npos) << error;
    }
}

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
