// Judging one captured mail with the plug-in's entry point faked: what the
// plug-in is handed, the answer for its verdict, the body and header edits
// of a rewritten mail, and a tempfail for every way the judging can fail.
#include "tools/ovmilter/mail_judge.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

#include "support/base_temp_dir.h"

namespace {

const char kHeaders[] =
    "From: alice@partner.example\r\nTo: bob@corp.example\r\nSubject: figures\r\n"
    "Content-Type: multipart/mixed;\r\n\tboundary=\"b1\"\r\n";
const char kBody[] = "--b1\r\n\r\ntext\r\n--b1--\r\n";

int FakeEnqueue(ZWEnqueRecord *)
{
    return 0;
}

// A fake plug-in that answers `code` with `action` and `faults`.
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

    MailOutcome Judge(ProcessFn process, BlockReply onBlock = BlockReply::Discard)
    {
        return MailJudge(pool, std::move(process), FakeEnqueue, onBlock).judge(*mail);
    }

    BaseTempDir spool;
    WorkerPool pool{2};
    std::unique_ptr<MailCapture> mail;
};

TEST_F(MailJudgeTest, HandsThePluginTheCapturedPair)
{
    std::string af, afText, dfText;
    ZWEnqueMailFn enqueue = nullptr;
    Judge([&](ZWHostCall *call, ZWMailResult *, OVMailReport *) {
        af = call->af_path;
        enqueue = call->enque_mail;
        afText = ReadFile(af);
        dfText = ReadFile(spool.path("DF" + af.substr(af.rfind('/') + 3)));
        return 0;
    });
    EXPECT_EQ(af, spool.path("AFO0001"));
    EXPECT_EQ(enqueue, &FakeEnqueue);
    EXPECT_EQ(afText, "F<alice@partner.example>\nT<bob@corp.example>\nOalice@partner.example\n"
                      "Dbob@corp.example\nSfigures\nR1\n");
    EXPECT_EQ(dfText, std::string(kHeaders) + "\r\n" + kBody);
}

// The verdict itself is decide_verdict's; the judge adds the plug-in's
// code, its result and why a mail is held.
TEST_F(MailJudgeTest, AnswersTheVerdictAndSaysWhyAMailIsHeld)
{
    const struct {
        int code, action, blocked;
        uint32_t faults;
        BlockReply onBlock;
        MilterReply reply;
        const char *error;
    } rows[] = {
        {0, 0, 0, 0, BlockReply::Discard, MilterReply::Accept, ""},
        {2, 1, 1, 0, BlockReply::Discard, MilterReply::Discard, ""},
        {2, 0, 0, 0, BlockReply::Reject, MilterReply::Reject, ""},
        {-6, 0, 0, 0, BlockReply::Discard, MilterReply::Tempfail, "plug-in answered -6"},
        {2, 2, 1, OV_FAULT_COPY, BlockReply::Discard, MilterReply::Tempfail,
         "plug-in fault copy, the mail is held"},
        {0, 0, 0, OV_FAULT_TEMP | OV_FAULT_NOTIFY, BlockReply::Discard, MilterReply::Tempfail,
         "plug-in fault temp,notify, the mail is held"},
        {0, 2, 0, OV_FAULT_NOTIFY, BlockReply::Discard, MilterReply::Discard, ""},
    };
    for (const auto &row : rows) {
        MailOutcome outcome =
            Judge(Answer(row.code, row.action, row.blocked, row.faults), row.onBlock);
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_EQ(outcome.result.action, row.action);
        EXPECT_EQ(outcome.report.faults, row.faults);
        EXPECT_EQ(outcome.verdict.reply, row.reply) << row.code;
        EXPECT_EQ(outcome.error, row.error);
        EXPECT_TRUE(outcome.headerEdits.empty() && outcome.newBody.empty());
    }
}

TEST_F(MailJudgeTest, ReadsBackARewrittenMail)
{
    MailOutcome outcome = Judge([&](ZWHostCall *, ZWMailResult *result, OVMailReport *) {
        std::ofstream(mail->pair().dfPath, std::ios::binary | std::ios::trunc)
            << "From: alice@partner.example\r\nTo: bob@corp.example\r\nSubject: figures\r\n"
               "Content-Type: text/plain; charset=\"us-ascii\"\r\nX-Removed: 1\r\n\r\n"
               "The attachment was removed.\r\n";
        result->action = 4;
        return 0;
    });
    EXPECT_EQ(outcome.verdict.reply, MilterReply::Accept);
    EXPECT_TRUE(outcome.verdict.replaceBody);
    EXPECT_EQ(outcome.newBody, "The attachment was removed.\r\n");
    ASSERT_EQ(outcome.headerEdits.size(), 2u);
    const HeaderEdit &type = outcome.headerEdits[0], &added = outcome.headerEdits[1];
    EXPECT_EQ(type.kind, HeaderEdit::Change);
    EXPECT_EQ(type.name + "#" + std::to_string(type.index) + "=" + type.value,
              "Content-Type#1=text/plain; charset=\"us-ascii\"");
    EXPECT_EQ(added.kind, HeaderEdit::Add);
    EXPECT_EQ(added.name + "=" + added.value, "X-Removed=1");
}

TEST_F(MailJudgeTest, EveryFailureIsATempfail)
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
    struct Row {
        const char *what;
        WorkerPool &pool;
        ProcessFn process;
        const char *error;
    } rows[] = {
        {"rewritten mail gone", pool, removeRewritten, "cannot read"},
        {"pool stopped", stopped, Answer(0, 0), "stopping"},
        {"plug-in threw", pool, fail, "failed"},
    };
    for (const Row &row : rows) {
        MailOutcome outcome =
            MailJudge(row.pool, row.process, FakeEnqueue, BlockReply::Discard).judge(*mail);
        EXPECT_EQ(outcome.verdict.reply, MilterReply::Tempfail) << row.what;
        EXPECT_FALSE(outcome.verdict.replaceBody) << row.what;
        EXPECT_NE(outcome.error.find(row.error), std::string::npos)
            << row.what << ": " << outcome.error;
    }
}

} // namespace
