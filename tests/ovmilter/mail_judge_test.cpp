// Judging one captured mail with the plug-in's entry point faked: why a
// mail is held, and a tempfail for every way the judging can fail.
#include "tools/ovmilter/mail_judge.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/base_temp_dir.h"

namespace {

const char kHeaders[] =
    "From: alice@partner.example\r\nTo: bob@corp.example\r\nSubject: figures\r\n"
    "Content-Type: multipart/mixed;\r\n\tboundary=\"b1\"\r\n";
const char kBody[] = "--b1\r\n\r\ntext\r\n--b1--\r\n";

int FakeEnqueue(ZWEnqueRecord *) { return 0; }

ProcessFn Answer(int code, int action, int blocked = 0, uint32_t faults = 0)
{
    return [=](ZWHostCall *, ZWMailResult *result, OVMailReport *report) {
        result->blocked = blocked;
        result->action = action;
        report->faults = faults;
        return code;
    };
}

class MailJudgeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        mail = MailCapture::start(spool.dir(), "0001", true, "<alice@partner.example>", 1, &error);
        ASSERT_TRUE(mail) << error;
        mail->add_recipient("<bob@corp.example>");
        for (const HeaderField &field : split_message(kHeaders).headers)
            ASSERT_TRUE(mail->add_header(field.name, field.value, &error)) << error;
        ASSERT_TRUE(mail->add_body(kBody, sizeof kBody - 1, &error)) << error;
        ASSERT_TRUE(mail->finish(&error)) << error;
    }

    BaseTempDir spool;
    WorkerPool pool{2};
    std::unique_ptr<MailCapture> mail;
};

TEST_F(MailJudgeTest, SaysWhyAMailIsHeldAndEveryFailureIsATempfail)
{
    WorkerPool stopped(1);
    stopped.stop();
    auto removeRewritten = [&](ZWHostCall *, ZWMailResult *result, OVMailReport *) {
        std::remove(mail->pair().dfPath.c_str());
        result->action = 4;
        return 0;
    };
    auto fail = [](ZWHostCall *, ZWMailResult *, OVMailReport *) -> int {
        throw std::runtime_error("no memory");
    };
    const BlockReply discard = BlockReply::Discard;
    struct Row {
        WorkerPool &pool;
        ProcessFn process;
        BlockReply onBlock;
        MilterReply reply;
        const char *error; // a part of it; "": none
    } rows[] = {
        {pool, Answer(2, 0), BlockReply::Reject, MilterReply::Reject, ""},
        {pool, Answer(-6, 0), discard, MilterReply::Tempfail, "plug-in answered -6"},
        {pool, Answer(2, 2, 1, OV_FAULT_COPY), discard, MilterReply::Tempfail,
         "plug-in fault copy, the mail is held"},
        {pool, removeRewritten, discard, MilterReply::Tempfail, "cannot read"},
        {stopped, Answer(0, 0), discard, MilterReply::Tempfail, "stopping"},
        {pool, fail, discard, MilterReply::Tempfail, "failed"},
    };
    for (const Row &row : rows) {
        MailOutcome outcome = MailJudge(row.pool, row.process, FakeEnqueue, row.onBlock).judge(*mail);
        SCOPED_TRACE(row.error);
        EXPECT_EQ(outcome.verdict.reply, row.reply);
        EXPECT_FALSE(outcome.verdict.replaceBody);
        EXPECT_TRUE(outcome.headerEdits.empty() && outcome.newBody.empty());
        if (*row.error)
            EXPECT_NE(outcome.error.find(row.error), std::string::npos) << outcome.error;
        else
            EXPECT_EQ(outcome.error, "");
    }
}

} // namespace
