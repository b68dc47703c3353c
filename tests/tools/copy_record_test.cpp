// The envelope record beside a quarantine copy, its JSON text, and the
// spool ids named after inputs.
#include "tools/hostkit/copy_record.h"
#include "tools/hostkit/json_text.h"
#include "tools/hostkit/spool_id.h"
#include "tools/ovctl_cases.h"

namespace
{

TEST(JsonText, KeepsUtf8ConvertsTheHostCodeAndEscapesEverythingElse)
{
    const struct {
        std::string text;
        const char *code;
        std::string json;
    } rows[] = {
        {"a@b.example", "UTF-8", "\"a@b.example\""},
        {"say \"x\\y\"", "UTF-8", "\"say \\\"x\\\\y\\\"\""},
        {"a\r\nb\tc\x07", "UTF-8", "\"a\\r\\nb\\tc\\u0007\""},
        {std::string("a\x01\x7f\0b", 5), "UTF-8", "\"a\\u0001\\u007f\\u0000b\""},
        {"\xE7\xA4\xBE \xF0\x9F\x93\xA7", "UTF-8", "\"\xE7\xA4\xBE \xF0\x9F\x93\xA7\""},
        {"caf\xE9", "UTF-8", "\"caf\\u00e9\""},                            // a Latin-1 byte
        {"\xE7\xA4", "UTF-8", "\"\\u00e7\\u00a4\""},                       // cut short
        {"\xC0\xAF", "UTF-8", "\"\\u00c0\\u00af\""},                       // overlong "/"
        {"\xED\xA0\x80", "UTF-8", "\"\\u00ed\\u00a0\\u0080\""},            // a surrogate
        {"\xF4\x90\x80\x80", "UTF-8", "\"\\u00f4\\u0090\\u0080\\u0080\""}, // above U+10FFFF
        {"\xc6\xfc\xcb\xdc", "EUC-JP", "\"\xe6\x97\xa5\xe6\x9c\xac\""},
        {"a\xff" "b", "EUC-JP", "\"a\\u00ffb\""},
        {"\x93\xfa", "SHIFT_JIS", "\"\xe6\x97\xa5\""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(json_string(row.text, row.code), row.json) << row.text;
    EXPECT_EQ(valid_utf8("caf\xE9!\xE7\xA4\xBE"), "caf\xEF\xBF\xBD!\xE7\xA4\xBE");
    const std::pair<const char *, const char *> hosts[] = {
        {"ja_JP.eucJP", "EUC-JP"}, {"ja_JP.sjis", "SHIFT_JIS"}, {"zh_CN.GB2312", "GB2312"},
        {"zh_TW.Big5", "BIG5"},    {"C", "UTF-8"},              {"", "UTF-8"}};
    for (const auto &host : hosts)
        EXPECT_STREQ(host_code_name(host.first), host.second) << host.first;
}

CopyRecord sample_record()
{
    return {"4Xc9Lq1ZbKz", "ovmilter", "ann \"the\" sender\\@example.net",
            {"bob@example.com", "\xE7\xA4\xBE@example.jp"}, "2001:db8::7", 1795000000, "blocked",
            "quarantined", "Big mails\nsecond line", 0, {}};
}

const char kSampleText[] =
    "{\n  \"format\": 1,\n  \"id\": \"4Xc9Lq1ZbKz\",\n  \"host\": \"ovmilter\",\n"
    "  \"sender\": \"ann \\\"the\\\" sender\\\\@example.net\",\n"
    "  \"recipients\": [\"bob@example.com\", \"\xE7\xA4\xBE@example.jp\"],\n"
    "  \"client\": \"2001:db8::7\",\n  \"time\": \"2026-11-18T11:06:40Z\",\n"
    "  \"verdict\": \"blocked\",\n  \"action\": \"quarantined\",\n";
const char kSampleTrigger[] = "  \"trigger\": \"Big mails\\nsecond line\"\n}\n";

// The exact text, read back the same; every cut of it is refused.
TEST(CopyRecord, ExactFormatRoundTripAndWhatTheReaderRefuses)
{
    CopyRecord record = sample_record(), read;
    record.released = 1795086400;
    record.releasedTo = {"bob@example.com"};
    const std::string whole = format_copy_record(record);
    EXPECT_EQ(whole, kSampleText + std::string("  \"released\": \"2026-11-19T11:06:40Z\",\n"
                                               "  \"released_to\": [\"bob@example.com\"],\n") +
                         kSampleTrigger);
    std::string error;
    ASSERT_TRUE(parse_copy_record(whole, &read, &error)) << error;
    EXPECT_EQ(format_copy_record(read), whole);

    const std::string time = R"("time": "2026-11-25T11:10:57Z")", head = R"({"format": 1, )";
    std::vector<std::string> texts = {
        "[]", R"({"format": 2, )" + time + "}", R"({"format": 1})",
        head + R"("time": "2026-11-31T11:10:57Z"})", // no such day
        head + time + R"(, "released": "soon"})", head + time + "} x",
        head + R"("id": "\ud800", )" + time + "}", head + "\"id\": \"caf\xE9\", " + time + "}",
    };
    for (size_t cut = 0; cut <= whole.rfind('}'); ++cut)
        texts.push_back(whole.substr(0, cut));
    for (const std::string &text : texts) {
        EXPECT_FALSE(parse_copy_record(text, &read, &error)) << text;
        EXPECT_FALSE(error.empty()) << text;
        error.clear();
    }
}

TEST(CopyRecord, WritesBesideTheCopyAndReplacesWhole)
{
    BaseTempDir dir;
    const std::string copy = dir.write("AF123_4.tmp", "Subject: x\r\n\r\nbody\r\n");
    CopyRecord record = sample_record(), read;
    std::string error;
    EXPECT_EQ(read_copy_record(copy, &read, &error), RecordRead::Missing);
    ASSERT_TRUE(write_copy_record(copy, record, &error)) << error;
    record.released = 1795086400;
    record.releasedTo = {"x@example.com"};
    ASSERT_TRUE(write_copy_record(copy, record, &error)) << error;
    EXPECT_EQ(dir.files(), (std::vector<std::string>{"AF123_4.tmp", "AF123_4.tmp.json"}));
    ASSERT_EQ(read_copy_record(copy, &read, &error), RecordRead::Found) << error;
    EXPECT_EQ(format_copy_record(read), format_copy_record(record));
    EXPECT_TRUE(is_copy_record_name("AF123_4.tmp.json"));
    EXPECT_TRUE(is_copy_record_name(".AF123_4.tmp.json.a1b2c3"));
    EXPECT_FALSE(is_copy_record_name("AF123_4.tmp"));

    dir.write("AF123_4.tmp.json", "{\"format\": 1,");
    EXPECT_EQ(read_copy_record(copy, &read, &error), RecordRead::Broken);
    EXPECT_NE(error.find("AF123_4.tmp.json"), std::string::npos) << error;

    // A failed write says why and leaves nothing; no copy needs no record.
    BaseTempDir empty;
    EXPECT_FALSE(write_copy_record(empty.path("gone/AF1.tmp"), sample_record(), &error));
    EXPECT_NE(error.find("gone/AF1.tmp"), std::string::npos) << error;
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(record_mail_copy("", sample_record(), &error));
}

TEST(SpoolId, FollowsTheNameAndStaysASafeFileName)
{
    const std::pair<std::string, std::string> rows[] = {
        {"4Xc9Lq1ZbKz", "4Xc9Lq1ZbKz"}, {"01-plain.eml", "01-plain.eml"},
        {"../in box/a.eml", "in_box_a.eml"}, {"..", "mail"}, {"", "mail"}, {"a..b", "a._b"},
        {"a/../../b", "a_._._b"}, {"\xE7\xA4\xBE.eml", "eml"}, {"x;rm -rf`y`", "x_rm_-rf_y_"},
        {std::string(70, 'q') + "Z", std::string(63, 'q') + "Z"}};
    for (const auto &row : rows) {
        const std::string id = spool_id_from_name(row.first);
        EXPECT_EQ(id, row.second) << row.first;
        EXPECT_LE(id.size(), kSpoolIdMax);
    }
    EXPECT_EQ(spool_id_candidate("Q1", 1), "Q1");
    EXPECT_EQ(spool_id_candidate("Q1", 3), "Q1_3");
}

} // namespace
