// MailJudge: has the plug-in judge one captured mail and turns its verdict
// into what the milter answers: the reply, and for a mail whose attachments
// were replaced the new body and header edits read back from the spool.
// The plug-in runs on a worker of the pool; the caller's thread waits.
//
//   MailJudge judge(pool, [&](ZWHostCall *c, ZWMailResult *r) { return host.process(c, r); },
//                   ovmilter_enque_mail, config.onBlock);
//   MailOutcome outcome = judge.judge(*capture, [&] { smfi_progress(context); });
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ov/host.h"
#include "tools/ovmilter/mail_capture.h"
#include "tools/ovmilter/rewritten_mail.h"
#include "tools/ovmilter/verdict.h"
#include "tools/ovmilter/worker_pool.h"

using ProcessFn = std::function<int(ZWHostCall *, ZWMailResult *)>;

struct MailOutcome {
    MilterVerdict verdict;
    int code = 0;                          // result of ZWEmailPluginProcess
    ZWMailResult result{};
    std::string newBody;                   // when verdict.replaceBody
    std::vector<HeaderEdit> headerEdits;   // when verdict.replaceBody
    std::string error;                     // why the answer is tempfail
    std::string copyPath, trigger;         // from the plug-in's OVMailReport
};

class MailJudge {
public:
    MailJudge(WorkerPool &pool, ProcessFn process, ZWEnqueMailFn enqueue, BlockReply onBlock)
        : m_pool(pool), m_process(std::move(process)), m_enqueue(enqueue), m_onBlock(onBlock)
    {
    }

    // `whileWaiting` runs every few seconds until the plug-in has answered.
    MailOutcome judge(const MailCapture &mail, const std::function<void()> &whileWaiting = {}) const;

private:
    WorkerPool &m_pool;
    ProcessFn m_process;
    ZWEnqueMailFn m_enqueue;
    BlockReply m_onBlock;
};
