// Threads walk mails, list TNEF names and convert text at once, each getting
// what one thread alone gets, their temporary files never meeting.
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "mail/attachment_ops.h"
#include "mail/charset.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "mail/temp_dir.h"
#include "ov/tnef.h"
#include "support/base_temp_dir.h"
#include "support/mail_japanese_text.h"
#include "support/mail_tnef_writer.h"

namespace {

// How many of `rounds` calls of `ok(thread)` failed, for each of 4 threads at once.
std::vector<int> FailuresInThreads(int rounds, const std::function<bool(int)> &ok)
{
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < rounds; ++round)
                failures[size_t(t)] += !ok(t);
        });
    for (std::thread &thread : threads)
        thread.join();
    return failures;
}

TEST(MimeConcurrency, ThreadsWalkAndDecodeTnefAtOnce)
{
    BaseTempDir dir;
    t_string saved = g_t_strTEMPDIR;
    g_t_strTEMPDIR = dir.dir() + "/";
    std::vector<std::string> mails;
    for (int t = 0; t < 4; ++t) {
        TnefWriter tnef;
        std::string secret = "secret number " + std::to_string(t) + "\n";
        tnef.MessageHeader("s").File("notes.txt", secret).File("same.txt", secret);
        mails.push_back(dir.write("DF" + std::to_string(t),
                                  "Subject: mail\nMIME-Version: 1.0\nContent-Type: multipart/mixed; "
                                  "boundary=b\n\n--b\nContent-Type: application/ms-tnef\n"
                                  "Content-Transfer-Encoding: base64\n\n" +
                                      Base64Body(tnef.bytes()) + "--b--\n"));
    }
    std::vector<int> failures = FailuresInThreads(20, [&](int t) {
        auto buf = std::make_unique<MEMBUF>();
        std::string text = dir.path("text" + std::to_string(t));
        CMailInfo info;
        GetAttachmentInfo(mails[size_t(t)].c_str(), buf.get(), text.c_str(), &info);
        GetTnefFileName(mails[size_t(t)].c_str(), true, info, buf.get(), text.c_str());
        std::string got(buf->m_szData, size_t(buf->m_nLength));
        return info.m_nAttachCount == 1 && info.m_pAttach[0]->m_bTnef &&
               got.find("secret number " + std::to_string(t)) != std::string::npos;
    });
    g_t_strTEMPDIR = saved;
    EXPECT_EQ(failures, std::vector<int>(4, 0));
    EXPECT_EQ(FilesBelow(dir.dir()).size(), 8u); // only the mails and their text files
}

thread_local std::vector<std::string> t_names;

int CollectName(char *name, void *)
{
    t_names.push_back(name);
    return OVCM_TNEF_CONTINUE;
}

TEST(TnefConcurrency, ThreadsDecodeAtOnceWithSharedSettings)
{
    BaseTempDir dir;
    TnefWriter inner, writer;
    inner.File("inner.txt", "data");
    writer.MessageHeader("s").File("a.txt", "1").Attachment(
        "", nullptr,
        MapiPropsWriter().Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3707, "mail.msg"));
    std::string path = dir.write("winmail.dat", writer.bytes());
    OVCMSetExtractAttachName(CollectName, nullptr);
    const std::vector<std::string> expected = {"a.txt", "inner.txt", "mail.msg"};
    auto decode = [&](int) {
        t_names.clear();
        return OVCMDecodeTNEF(&path[0]) == 0 && t_names == expected;
    };
    EXPECT_EQ(FailuresInThreads(50, decode), std::vector<int>(4, 0));
}

// Through iconv tables too (GB 2312, Big5).
std::vector<std::string> Conversions()
{
    const std::string sjis = "\x93\xFA\x96\x7B\x8C\xEA \xB1\xB2 text";
    std::vector<std::string> out = {
        TakeText(fromANY(sjis.c_str(), CHARSET_EUC)),
        TakeText(fromISO2022("\x1B$)A\x0E\x56\x50\x4E\x44\x0F", CHARSET_EUC)),
        TakeText(toCNforTWN("\xA1\x40\xA4\xA4")),
        TakeText(encode_str(TakeText(toJIS(sjis.c_str(), CHARSET_SJIS)).c_str()))};
    RFC1342_DECODED d;
    if (rfc1342_decode("=?SHIFT_JIS?B?k/qWew==?= x", &d, CHARSET_EUC) == 0)
        out.push_back(TakeText(d.m_pszText));
    return out;
}

TEST(CharsetConcurrency, ThreadsGetWhatOneThreadGets)
{
    HostLanguage host(LANG_JAPANESE);
    const std::vector<std::string> expected = Conversions();
    EXPECT_EQ(FailuresInThreads(200, [&](int) { return Conversions() == expected; }),
              std::vector<int>(4, 0));
}

} // namespace
