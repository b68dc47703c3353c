// Mail threads walk mails and list TNEF names at once: every walk keeps its
// own state, and the temporary files of one never meet another's.
#include <dirent.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "mail/temp_dir.h"
#include "support/base_temp_dir.h"
#include "support/mail_japanese_text.h"
#include "support/mail_tnef_writer.h"

namespace {

std::string MailWithTnef(int serial)
{
    TnefWriter tnef;
    std::string secret = "secret number " + std::to_string(serial) + "\n";
    tnef.MessageHeader("s").File("notes.txt", secret).File("same.txt", secret);
    return "Subject: mail " + std::to_string(serial) +
           "\nMIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n"
           "--b\nContent-Type: application/ms-tnef\nContent-Transfer-Encoding: base64\n\n" +
           Base64Body(tnef.bytes()) + "--b--\n";
}

TEST(MimeConcurrency, ThreadsWalkAndDecodeTnefAtOnce)
{
    BaseTempDir dir;
    t_string saved = g_t_strTEMPDIR;
    g_t_strTEMPDIR = dir.dir() + "/";
    std::vector<std::string> mails;
    for (int t = 0; t < 4; ++t)
        mails.push_back(dir.write("DF" + std::to_string(t), MailWithTnef(t)));
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            auto buf = std::make_unique<MEMBUF>();
            std::string text = dir.path("text" + std::to_string(t));
            std::string expected = "secret number " + std::to_string(t);
            for (int round = 0; round < 20; ++round) {
                CMailInfo info;
                GetAttachmentInfo(mails[size_t(t)].c_str(), buf.get(), text.c_str(), &info);
                GetTnefFileName(mails[size_t(t)].c_str(), true, info, buf.get(), text.c_str());
                std::string got(buf->m_szData, size_t(buf->m_nLength));
                if (info.m_nAttachCount != 1 || !info.m_pAttach[0]->m_bTnef ||
                    got.find(expected) == std::string::npos)
                    ++failures[size_t(t)];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    g_t_strTEMPDIR = saved;
    EXPECT_EQ(failures, std::vector<int>(4, 0));
    // Only the mails and their text files are left.
    size_t files = 0;
    if (DIR *handle = opendir(dir.dir().c_str())) {
        while (dirent *entry = readdir(handle))
            files += entry->d_name[0] != '.';
        closedir(handle);
    }
    EXPECT_EQ(files, 8u);
}

} // namespace
