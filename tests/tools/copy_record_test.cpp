// The envelope record beside a quarantine copy: JSON quoting, the record's
// round trip, what the reader refuses, the atomic write, and ovctl scan's
// helper that writes records for the copies the plug-in reported.
#include <dirent.h>
#include <cstdio>
#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "tools/hostkit/copy_record.h"
#include "tools/hostkit/json_text.h"
#include "tools/hostkit/spool_id.h"
#include "tools/ovctl/scan_copy_records.h"

namespace {

struct QuoteCase {
    const char *name;
    std::string text;
    std::string quoted;
};

TEST(JsonQuote, KeepsUtf8AndEscapesEverythingElse)
{
    const QuoteCase cases[] = {
        {"plain", "a@b.example", "\"a@b.example\""},
        {"quote and backslash", "say \"x\\y\"", "\"say \\\"x\\\\y\\\"\""},
        {"line breaks and tab", "a\r\nb\tc", "\"a\\r\\nb\\tc\""},
        {"other control", std::string("a\x01\x7f", 3), "\"a\\u0001\\u007f\""},
        {"NUL", std::string("a\0b", 3), "\"a\\u0000b\""},
        {"UTF-8 kept", "\xE7\xA4\xBE\xE5\xA4\x96 \xF0\x9F\x93\xA7", "\"\xE7\xA4\xBE\xE5\xA4\x96 \xF0\x9F\x93\xA7\""},
        {"Latin-1 byte", "caf\xE9", "\"caf\\u00e9\""},
        {"cut sequence", "\xE7\xA4", "\"\\u00e7\\u00a4\""},
        {"overlong slash", "\xC0\xAF", "\"\\u00c0\\u00af\""},
        {"encoded surrogate", "\xED\xA0\x80", "\"\\u00ed\\u00a0\\u0080\""},
        {"above U+10FFFF", "\xF4\x90\x80\x80", "\"\\u00f4\\u0090\\u0080\\u0080\""},
    };
    for (const QuoteCase &c : cases)
        EXPECT_EQ(json_quote(c.text), c.quoted) << c.name;
}

TEST(JsonQuote, ValidUtf8ReplacesBadBytes)
{
    EXPECT_EQ(valid_utf8("caf\xE9!"), "caf\xEF\xBF\xBD!");
    EXPECT_EQ(valid_utf8("\xE7\xA4\xBE"), "\xE7\xA4\xBE");
}

CopyRecord sample_record()
{
    CopyRecord record;
    record.id = "4Xc9Lq1ZbKz";
    record.host = "ovmilter";
    record.sender = "ann \"the\" sender\\@example.net";
    record.recipients = {"bob@example.com", "hidden-bcc@example.com", "\xE7\xA4\xBE@example.jp"};
    record.client = "2001:db8::7";
    record.time = 1795000000;
    record.verdict = "blocked";
    record.action = "quarantined";
    record.trigger = "Big mails\nsecond line";
    return record;
}

void expect_same(const CopyRecord &a, const CopyRecord &b)
{
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(a.host, b.host);
    EXPECT_EQ(a.sender, b.sender);
    EXPECT_EQ(a.recipients, b.recipients);
    EXPECT_EQ(a.client, b.client);
    EXPECT_EQ(a.time, b.time);
    EXPECT_EQ(a.verdict, b.verdict);
    EXPECT_EQ(a.action, b.action);
    EXPECT_EQ(a.trigger, b.trigger);
    EXPECT_EQ(a.released, b.released);
    EXPECT_EQ(a.releasedTo, b.releasedTo);
}

TEST(CopyRecord, RoundTripsWithAndWithoutRelease)
{
    CopyRecord record = sample_record();
    for (bool released : {false, true}) {
        if (released) {
            record.released = 1795086400;
            record.releasedTo = {"bob@example.com"};
        }
        CopyRecord read;
        std::string error;
        ASSERT_TRUE(parse_copy_record(format_copy_record(record), &read, &error)) << error;
        expect_same(read, record);
    }
}

TEST(CopyRecord, ReaderIgnoresUnknownMembersAndTakesEscapes)
{
    const std::string text = R"({"format": 1, "future": [], "flag": true, "n": -1.5e3,
        "id": "\u00e9\ud83d\udce7", "time": "2026-11-25T11:10:57Z", "recipients": []})";
    CopyRecord read;
    std::string error;
    ASSERT_TRUE(parse_copy_record(text, &read, &error)) << error;
    EXPECT_EQ(read.id, "\xC3\xA9\xF0\x9F\x93\xA7");
    EXPECT_TRUE(read.recipients.empty());
}

TEST(CopyRecord, ReaderRefusesWhatIsNotARecord)
{
    const std::string time = R"("time": "2026-11-25T11:10:57Z")";
    const struct {
        const char *name;
        std::string text;
    } cases[] = {
        {"empty", ""},
        {"array", "[]"},
        {"no format", "{" + time + "}"},
        {"other format", R"({"format": 2, )" + time + "}"},
        {"no time", R"({"format": 1})"},
        {"local time", R"({"format": 1, "time": "2026-11-25 11:10:57"})"},
        {"no such day", R"({"format": 1, "time": "2026-11-31T11:10:57Z"})"},
        {"short year", R"({"format": 1, "time": "0271-11-25T11:10:57Z"})"},
        {"bad release time", R"({"format": 1, )" + time + R"(, "released": "soon"})"},
        {"nested object", R"({"format": 1, )" + time + R"(, "x": {}})"},
        {"number in a list", R"({"format": 1, )" + time + R"(, "recipients": [1]})"},
        {"duplicate key", R"({"format": 1, "format": 1, )" + time + "}"},
        {"text after", R"({"format": 1, )" + time + "} x"},
        {"raw line break", "{\"format\": 1, \"id\": \"a\nb\", " + time + "}"},
        {"lone surrogate", R"({"format": 1, "id": "\ud800", )" + time + "}"},
        {"not UTF-8", "{\"format\": 1, \"id\": \"caf\xE9\", " + time + "}"},
        {"bad escape", R"({"format": 1, "id": "\q", )" + time + "}"},
        {"short \\u", R"({"format": 1, "id": "\u12", )" + time + "}"},
        {"missing comma", R"({"format": 1 )" + time + "}"},
    };
    for (const auto &c : cases) {
        CopyRecord read;
        std::string error;
        EXPECT_FALSE(parse_copy_record(c.text, &read, &error)) << c.name;
        EXPECT_FALSE(error.empty()) << c.name;
    }
}

TEST(CopyRecord, EveryCutOfARecordIsRefused)
{
    const std::string text = format_copy_record(sample_record());
    // Up to the closing brace every prefix is incomplete; after it only blanks follow.
    const size_t closing = text.rfind('}');
    for (size_t cut = 0; cut <= closing; ++cut) {
        CopyRecord read;
        std::string error;
        EXPECT_FALSE(parse_copy_record(text.substr(0, cut), &read, &error)) << "cut at " << cut;
    }
}

std::vector<std::string> names_in(const std::string &dir)
{
    std::vector<std::string> names;
    DIR *handle = opendir(dir.c_str());
    while (dirent *entry = handle ? readdir(handle) : nullptr) {
        std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    if (handle)
        closedir(handle);
    std::sort(names.begin(), names.end());
    return names;
}

TEST(CopyRecord, WritesBesideTheCopyAndReplacesWhole)
{
    BaseTempDir dir;
    const std::string copy = dir.write("AF123_4.tmp", "Subject: x\r\n\r\nbody\r\n");
    CopyRecord record = sample_record();
    std::string error;
    CopyRecord read;
    EXPECT_EQ(read_copy_record(copy, &read, &error), RecordRead::Missing);
    ASSERT_TRUE(write_copy_record(copy, record, &error)) << error;
    record.released = 1795086400;
    record.releasedTo = {"x@example.com"};
    ASSERT_TRUE(write_copy_record(copy, record, &error)) << error;
    EXPECT_EQ(names_in(dir.dir()), (std::vector<std::string>{"AF123_4.tmp", "AF123_4.tmp.json"}));
    ASSERT_EQ(read_copy_record(copy, &read, &error), RecordRead::Found) << error;
    expect_same(read, record);
    EXPECT_TRUE(is_copy_record_name("AF123_4.tmp.json"));
    EXPECT_TRUE(is_copy_record_name(".AF123_4.tmp.json.a1b2c3"));
    EXPECT_FALSE(is_copy_record_name("AF123_4.tmp"));

    dir.write("AF123_4.tmp.json", "{\"format\": 1,");
    EXPECT_EQ(read_copy_record(copy, &read, &error), RecordRead::Broken);
    EXPECT_NE(error.find("AF123_4.tmp.json"), std::string::npos) << error;
}

TEST(CopyRecord, FailedWriteSaysWhyAndLeavesNothing)
{
    BaseTempDir dir;
    std::string error;
    EXPECT_FALSE(write_copy_record(dir.path("gone/AF1.tmp"), sample_record(), &error));
    EXPECT_NE(error.find("gone/AF1.tmp"), std::string::npos) << error;
    EXPECT_TRUE(names_in(dir.dir()).empty());
}

TEST(CopyRecord, NoCopyNoRecord)
{
    std::string error;
    EXPECT_TRUE(record_mail_copy("", sample_record(), &error));
}

TEST(CopyRecord, ScanWritesTheEnvelopeOfEachReportedCopy)
{
    BaseTempDir dir;
    MailEnvelope envelope = envelope_from_message(
        "Return-Path: <ann@example.net>\r\nTo: bob@example.com\r\nBcc: carl@example.com\r\n\r\nx",
        1795000000);
    std::vector<MailVerdict> mails(3);
    mails[0].label = "mail/clean.eml";
    mails[1].label = "mail/big.eml";
    mails[1].code = 2;
    mails[1].result.action = 2;
    mails[1].name = "Big mails";
    const std::string copy = dir.write("AF1_2.tmp", "x");
    std::snprintf(mails[1].report.copy_path, sizeof mails[1].report.copy_path, "%s", copy.c_str());
    mails[2].label = "mail/lost.eml";
    std::snprintf(mails[2].report.copy_path, sizeof mails[2].report.copy_path, "%s",
                  dir.path("gone/AF1_3.tmp").c_str());
    EXPECT_EQ(keep_copy_records(mails, {envelope, envelope, envelope}), 1);

    CopyRecord read;
    std::string error;
    ASSERT_EQ(read_copy_record(copy, &read, &error), RecordRead::Found) << error;
    EXPECT_EQ(read.id, "mail/big.eml");
    EXPECT_EQ(read.host, "ovctl");
    EXPECT_EQ(read.sender, "ann@example.net");
    EXPECT_EQ(read.recipients, (std::vector<std::string>{"bob@example.com", "carl@example.com"}));
    EXPECT_EQ(read.verdict, "blocked");
    EXPECT_EQ(read.action, "quarantined");
    EXPECT_EQ(read.trigger, "Big mails");
    EXPECT_NE(read.time, 0);
}

TEST(SpoolId, FollowsTheNameAndStaysASafeFileName)
{
    const struct {
        std::string name;
        std::string id;
    } cases[] = {
        {"4Xc9Lq1ZbKz", "4Xc9Lq1ZbKz"},
        {"01-plain.eml", "01-plain.eml"},
        {"../in box/a.eml", "in_box_a.eml"},
        {"..", "mail"},
        {"", "mail"},
        {"a..b", "a._b"},
        {"a/../../b", "a_._._b"},
        {"\xE7\xA4\xBE.eml", "eml"},
        {"x;rm -rf`y`", "x_rm_-rf_y_"},
        {std::string(70, 'q') + "Z", std::string(63, 'q') + "Z"},
    };
    for (const auto &c : cases) {
        std::string id = spool_id_from_name(c.name);
        EXPECT_EQ(id, c.id) << c.name;
        EXPECT_LE(id.size(), kSpoolIdMax);
        EXPECT_EQ(id.find('/'), std::string::npos);
        EXPECT_EQ(id.find(".."), std::string::npos);
    }
    EXPECT_EQ(spool_id_candidate("Q1", 1), "Q1");
    EXPECT_EQ(spool_id_candidate("Q1", 3), "Q1_3");
}

} // namespace
