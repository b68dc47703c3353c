// The converters are reentrant: threads converting at once (iconv tables
// included) get what one thread alone gets.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "mail/charset.h"
#include "mail/transfer_codecs.h"
#include "support/mail_codec_fixtures.h"

namespace {

std::vector<std::string> Results(const std::string &sjis, const std::string &cn)
{
    std::vector<std::string> out;
    out.push_back(TakeText(fromANY(sjis.c_str(), CHARSET_EUC)));
    out.push_back(TakeText(fromISO2022(cn.c_str(), CHARSET_EUC)));   // through iconv
    out.push_back(TakeText(toCNforTWN("\xA1\x40\xA4\xA4")));             // Big5, through iconv
    out.push_back(TakeText(encode_str(TakeText(toJIS(sjis.c_str(), CHARSET_SJIS)).c_str())));
    RFC1342_DECODED d;
    if (rfc1342_decode("=?SHIFT_JIS?B?k/qWew==?= x", &d, CHARSET_EUC) == 0)
        out.push_back(TakeText(d.m_pszText));
    int n = 0;
    out.push_back(TakeBytes(from_base64("QUJDREVGR0g=", 12, &n), n));
    return out;
}

TEST(CharsetConcurrency, ThreadsGetWhatOneThreadGets)
{
    HostLanguage host(LANG_JAPANESE);
    const std::string sjis = "\x93\xFA\x96\x7B\x8C\xEA \xB1\xB2 text";
    const std::string cn = "\x1B$)A\x0E\x56\x50\x4E\x44\x0F";
    const std::vector<std::string> expected = Results(sjis, cn);
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i)
                if (Results(sjis, cn) != expected)
                    ++mismatches[t];
        });
    for (auto &th : threads)
        th.join();
    for (int m : mismatches)
        EXPECT_EQ(m, 0);
}

} // namespace
