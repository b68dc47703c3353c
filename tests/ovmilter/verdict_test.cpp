// The milter's answer to each verdict of the plug-in, and the faults that
// hold the mail whatever the verdict.
#include "tools/ovmilter/verdict.h"

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

} // namespace
