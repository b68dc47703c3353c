// The milter's answer to each verdict of the plug-in.
#include "tools/ovmilter/verdict.h"

#include <gtest/gtest.h>

namespace {

TEST(Verdict, AnswerForEachResult)
{
    const MilterReply A = MilterReply::Accept, D = MilterReply::Discard, R = MilterReply::Reject,
                      T = MilterReply::Tempfail;
    struct Row {
        int code, blocked, action;
        MilterReply discardReply, rejectReply;
        bool replaceBody;
        const char *word;
    } rows[] = {
        {0, 0, 0, A, A, false, "pass"},        {2, 0, 0, D, R, false, "blocked"},
        {0, 1, 0, D, R, false, "blocked"},     {2, 1, 1, D, R, false, "deleted"},
        {0, 0, 2, D, R, false, "quarantined"}, // a policy's quarantine
        {2, 0, 3, D, R, false, "archived"},    {0, 0, 4, A, A, true, "replaced"},
        {2, 0, 4, D, R, false, "blocked"},     {0, 0, 5, A, A, false, "pass"},
        {1, 0, 0, A, A, false, "pass"},        {-6, 0, 0, T, T, false, "error"},
        {-8, 1, 4, T, T, false, "error"},      {-9, 0, 0, T, T, false, "error"},
    };
    for (const Row &row : rows) {
        ZWMailResult result{};
        result.blocked = row.blocked;
        result.action = row.action;
        for (BlockReply onBlock : {BlockReply::Discard, BlockReply::Reject}) {
            MilterVerdict verdict = decide_verdict(row.code, result, onBlock);
            SCOPED_TRACE(std::to_string(row.code) + "/" + std::to_string(row.blocked) + "/" +
                         std::to_string(row.action) +
                         (onBlock == BlockReply::Reject ? " reject" : " discard"));
            EXPECT_EQ(verdict.reply,
                      onBlock == BlockReply::Reject ? row.rejectReply : row.discardReply);
            EXPECT_EQ(verdict.replaceBody, row.replaceBody);
            EXPECT_STREQ(verdict.word, row.word);
        }
    }
}

} // namespace
