// Decodes of TNEF files run in several threads at once once the exported
// settings are set, as mail threads do.
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ov/tnef.h"
#include "support/base_temp_dir.h"
#include "support/mail_tnef_writer.h"

namespace {

thread_local std::vector<std::string> t_names;

int Collect(char *name, void *)
{
    t_names.push_back(name);
    return OVCM_TNEF_CONTINUE;
}

TEST(TnefConcurrency, ThreadsDecodeAtOnceWithSharedSettings)
{
    BaseTempDir dir;
    TnefWriter inner;
    inner.File("inner.txt", "data");
    MapiPropsWriter props;
    props.Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3707, "mail.msg");
    TnefWriter writer;
    writer.MessageHeader("s").File("a.txt", "1").Attachment("", nullptr, props);
    std::string path = dir.write("winmail.dat", writer.bytes());
    OVCMSetExtractAttachName(Collect, nullptr);

    const std::vector<std::string> expected = {"a.txt", "inner.txt", "mail.msg"};
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 50; ++round) {
                t_names.clear();
                if (OVCMDecodeTNEF(&path[0]) != 0 || t_names != expected)
                    ++failures[t];
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}

} // namespace
