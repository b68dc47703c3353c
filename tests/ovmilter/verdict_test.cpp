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
            MilterVerdict verdict = decide_verdict(row.code, result, 0, onBlock);
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

// A fault that leaves the verdict unsure holds the mail whatever the verdict;
// a notification that was not queued does not.
TEST(Verdict, FaultsHoldTheMail)
{
    struct Row {
        uint32_t faults;
        int code, action;
        MilterReply reply;
    } rows[] = {
        {OV_FAULT_COPY, 2, 2, MilterReply::Tempfail},
        {OV_FAULT_COPY, 0, 3, MilterReply::Tempfail},
        {OV_FAULT_REPLACE, 0, 0, MilterReply::Tempfail},
        {OV_FAULT_TEMP, 0, 0, MilterReply::Tempfail},
        {OV_FAULT_TEMP | OV_FAULT_NOTIFY, 2, 1, MilterReply::Tempfail},
        {OV_FAULT_NOTIFY, 2, 1, MilterReply::Discard},
        {OV_FAULT_NOTIFY, 0, 4, MilterReply::Accept},
    };
    for (const Row &row : rows) {
        ZWMailResult result{};
        result.action = row.action;
        EXPECT_EQ(decide_verdict(row.code, result, row.faults, BlockReply::Discard).reply,
                  row.reply)
            << row.faults << "/" << row.code << "/" << row.action;
    }
}

} // namespace
