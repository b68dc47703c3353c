// The TNEF decoder: attachment names, embedded messages, damaged streams,
// saving, and the exported functions' settings. Every stream is built here
// with the test writer and decoded twice: whole from a file through
// OVCMDecodeTNEF, and from a reader that hands out one byte per read.
#include <dirent.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/file_util.h"
#include "mail/tnef_decoder.h"
#include "mail/tnef_names.h"
#include "mail/tnef_settings.h"
#include "ov/tnef.h"
#include "support/base_temp_dir.h"
#include "support/mail_piece_file.h"
#include "support/mail_tnef_writer.h"

namespace {

struct Decoded {
    int result = 0;
    std::vector<std::string> names;
    bool operator==(const Decoded &other) const
    {
        return result == other.result && names == other.names;
    }
};

struct Collector {
    std::vector<std::string> names;
    std::function<int(size_t)> answer = [](size_t) { return 0; };
};

int Collect(char *name, void *context)
{
    auto *collector = static_cast<Collector *>(context);
    collector->names.push_back(name);
    return collector->answer(collector->names.size());
}

Decoded DecodeWhole(const std::string &bytes, Collector collector = {})
{
    BaseTempDir dir;
    std::string path = dir.write("winmail.dat", bytes);
    OVCMSetExtractAttachName(Collect, &collector);
    OVCMSetSaveAttachPath(nullptr);
    Decoded out;
    out.result = OVCMDecodeTNEF(&path[0]);
    out.names = collector.names;
    return out;
}

Decoded DecodeInPieces(const std::string &bytes, Collector collector = {})
{
    FILE *file = OpenPieceFile(bytes, 1);
    TnefDecoder decoder(Collect, &collector, "");
    Decoded out;
    out.result = decoder.Decode(file, long(bytes.size()));
    std::fclose(file);
    out.names = collector.names;
    return out;
}

// Decodes both ways and insists they agree.
Decoded DecodeBoth(const std::string &bytes)
{
    Decoded whole = DecodeWhole(bytes);
    Decoded pieces = DecodeInPieces(bytes);
    EXPECT_EQ(whole.result, pieces.result);
    EXPECT_EQ(whole.names, pieces.names);
    return whole;
}

std::string Stream(const std::function<void(TnefWriter &)> &build)
{
    TnefWriter writer;
    writer.MessageHeader("hello");
    build(writer);
    return writer.bytes();
}

std::string Bytes(std::initializer_list<unsigned> values)
{
    std::string out;
    for (unsigned value : values)
        out += char(value);
    return out;
}

// A stream whose single attachment holds the next stream as an embedded
// message, `levels` streams in all; the innermost holds "deep.txt".
std::string NestedStream(int levels, int level = 1)
{
    TnefWriter writer;
    writer.MessageHeader("level");
    if (level == levels) {
        writer.File("deep.txt", "x");
        return writer.bytes();
    }
    MapiPropsWriter props;
    props.Object(0x3701, TnefMessageIid(), NestedStream(levels, level + 1))
        .String8(0x3001, "level" + std::to_string(level) + ".msg");
    writer.Attachment("", nullptr, props);
    return writer.bytes();
}

std::vector<std::string> DirectoryEntries(const std::string &dir)
{
    std::vector<std::string> names;
    if (DIR *handle = opendir(dir.c_str())) {
        while (dirent *entry = readdir(handle))
            if (std::strcmp(entry->d_name, ".") && std::strcmp(entry->d_name, ".."))
                names.push_back(entry->d_name);
        closedir(handle);
    }
    return names;
}

using Names = std::vector<std::string>;

TEST(TnefDecoder, AttachmentNamesAsSendersWriteThem)
{
    const std::string data = "attachment bytes";
    struct Row {
        const char *what;
        std::string stream;
        Names names;
    };
    const std::vector<Row> rows = {
        {"one file", Stream([&](TnefWriter &w) { w.File("report.pdf", data); }), {"report.pdf"}},
        {"two files in order",
         Stream([&](TnefWriter &w) { w.File("a.txt", data).File("b.txt", ""); }),
         {"a.txt", "b.txt"}},
        {"long name before short and display name",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3001, "Display").String8(0x3704, "SHORT~1.TXT").String8(0x3707, "long name.txt");
             w.Attachment("TITLE", &data, p);
         }),
         {"long name.txt"}},
        {"short name before display name",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3001, "Display").String8(0x3704, "SHORT.TXT");
             w.Attachment("TITLE", &data, p);
         }),
         {"SHORT.TXT"}},
        {"display name alone",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3001, "Meeting notes");
             w.Attachment("", nullptr, p);
         }),
         {"Meeting notes"}},
        {"Unicode name becomes UTF-8",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.Unicode(0x3707, u"\u00dcmlaut \u65e5\u672c.txt");
             w.Attachment("", &data, p);
         }),
         {"\xc3\x9cmlaut \xe6\x97\xa5\xe6\x9c\xac.txt"}},
        {"no name properties, no title",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.Long(0x0E20, 5);
             w.Attachment("", &data, p);
         }),
         {"default.dat"}},
        {"empty name property: the title stands",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3001, "");
             w.Attachment("Untitled Attachment", &data, p);
         }),
         {"Untitled Attachment"}},
        {"hidden name is not reported",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3707, "\n\t\n");
             w.Attachment("", &data, p).File("seen.txt", data);
         }),
         {"seen.txt"}},
        {"every value shape before the name",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.Fixed(0x0002, 0x1000, Bytes({1, 0}))
                 .Fixed(0x000B, 0x1001, Bytes({1, 0}))
                 .Fixed(0x0005, 0x1002, std::string(8, 'd'))
                 .Fixed(0x0040, 0x3007, std::string(8, 't'))
                 .Fixed(0x0048, 0x1003, std::string(16, 'g'))
                 .MultiFixed(0x0003, 0x1004, {"1111", "2222", "3333"})
                 .MultiFixed(0x0002, 0x1005, {Bytes({7, 0})})
                 .MultiString8(0x1006, {"one", "three", ""})
                 .Binary(0x1007, "odd")
                 .NamedById(0x8001, 0x8233, "named by id")
                 .NamedByString(0x8002, u"Keywords", "named by string")
                 .Object(0x1008, std::string(16, 'i'), "not a stream")
                 .String8(0x3707, "after all.doc");
             w.Attachment("", &data, p);
         }),
         {"after all.doc"}},
        {"named property with a file-name id is not a name",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.NamedById(0x8707, 0x3707, "not me").String8(0x3704, "me.txt");
             w.Attachment("", &data, p);
         }),
         {"me.txt"}},
        {"an unknown property type ends the list, names before it stand",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3704, "kept.txt").Fixed(0x0077, 0x1000, "????").String8(0x3707, "lost.txt");
             w.Attachment("", &data, p);
         }),
         {"kept.txt"}},
        {"a value length past the list ends it",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.String8(0x3704, "kept.txt").Raw(Bytes({0x02, 0x01, 0x00, 0x10, 1, 0, 0, 0, 0xff, 0xff, 0xff, 0x7f}), true);
             w.Attachment("", &data, p);
         }),
         {"kept.txt"}},
        {"a lying multi-value count ends the list",
         Stream([&](TnefWriter &w) {
             MapiPropsWriter p;
             p.Raw(Bytes({0x03, 0x10, 0x00, 0x10, 0xff, 0xff, 0xff, 0xff}), true).String8(0x3707, "lost.txt");
             w.Attachment("TITLE", &data, p);
         }),
         {"default.dat"}},
        {"attachment without attAttachment is not reported",
         Stream([&](TnefWriter &w) {
             w.Attribute(2, attAttachTitle, std::string("orphan.txt") + '\0')
                 .Attribute(2, attAttachData, data);
         }),
         {}},
        {"embedded message: inner names first",
         Stream([&](TnefWriter &w) {
             TnefWriter inner;
             inner.MessageHeader("inner").File("inner1.txt", data).File("inner2.txt", data);
             MapiPropsWriter p;
             p.Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3001, "Forwarded.msg");
             w.Attachment("", nullptr, p).File("after.txt", data);
         }),
         {"inner1.txt", "inner2.txt", "Forwarded.msg", "after.txt"}},
        {"winmail.dat attached as binary data is walked too",
         Stream([&](TnefWriter &w) {
             TnefWriter inner;
             inner.File("x.bin", data);
             MapiPropsWriter p;
             p.Binary(0x3701, inner.bytes()).String8(0x3707, "winmail.dat");
             w.Attachment("", nullptr, p);
         }),
         {"x.bin", "winmail.dat"}},
        {"a damaged embedded stream leaves the outer walk going",
         Stream([&](TnefWriter &w) {
             TnefWriter inner;
             inner.File("cut.txt", data);
             std::string cut = inner.bytes().substr(0, 20);
             MapiPropsWriter p;
             p.Object(0x3701, TnefMessageIid(), cut).String8(0x3707, "outer.msg");
             w.Attachment("", nullptr, p).File("next.txt", data);
         }),
         {"outer.msg", "next.txt"}},
        {"record cut short ends the walk at the last whole record",
         Stream([&](TnefWriter &w) {
             w.File("whole.txt", data).LyingAttribute(2, attAttachData, 0xFFFFFFF0u, "short");
         }),
         {"whole.txt"}},
        {"garbage after the last record",
         Stream([&](TnefWriter &w) { w.File("last.txt", data).Raw("\x02\x05garbage"); }),
         {"last.txt"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        Decoded got = DecodeBoth(row.stream);
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.names, row.names);
    }
}

TEST(TnefDecoder, LongNamesAreCutWithoutSplittingACharacter)
{
    std::string name = std::string(254, 'a') + "\xc3\xa9" + "z.txt";   // é straddles byte 255
    Decoded got = DecodeBoth(Stream([&](TnefWriter &w) { w.File(name, "x"); }));
    ASSERT_EQ(got.names.size(), 1u);
    EXPECT_EQ(got.names[0], std::string(254, 'a'));
}

TEST(TnefDecoder, EmbeddedStreamsAreFollowedTwentyDeep)
{
    Decoded got = DecodeBoth(NestedStream(25));
    Names expected;
    for (int level = 20; level >= 1; --level)
        expected.push_back("level" + std::to_string(level) + ".msg");
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.names, expected);

    got = DecodeBoth(NestedStream(4));
    EXPECT_EQ(got.names, (Names{"deep.txt", "level3.msg", "level2.msg", "level1.msg"}));
}

TEST(TnefDecoder, EveryTruncationEndsCleanlyWithAPrefixOfTheNames)
{
    TnefWriter inner;
    inner.File("inner.txt", "inner data");
    MapiPropsWriter p;
    p.Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3707, "mail.msg");
    std::string full =
        Stream([&](TnefWriter &w) { w.File("one.txt", "1111").Attachment("", nullptr, p).File("two.txt", "22"); });
    Names all = DecodeBoth(full).names;
    ASSERT_EQ(all, (Names{"one.txt", "inner.txt", "mail.msg", "two.txt"}));
    for (size_t length = 0; length < full.size(); ++length) {
        Decoded got = DecodeInPieces(full.substr(0, length));
        SCOPED_TRACE(length);
        EXPECT_EQ(got.result, length < 6 ? -1 : 0);
        ASSERT_LE(got.names.size(), all.size());
        EXPECT_TRUE(std::equal(got.names.begin(), got.names.end(), all.begin()));
    }
}

TEST(TnefDecoder, NotTnefOrNoCallbackGivesMinusOneAndNoCalls)
{
    Decoded got = DecodeBoth("\x78\x9f\x3e\x23 not a tnef stream");
    EXPECT_EQ(got.result, -1);
    EXPECT_TRUE(got.names.empty());

    BaseTempDir dir;
    std::string path = dir.write("winmail.dat", Stream([](TnefWriter &w) { w.File("a", "b"); }));
    OVCMSetExtractAttachName(nullptr, nullptr);
    EXPECT_EQ(OVCMDecodeTNEF(&path[0]), -1);
    Collector collector;
    OVCMSetExtractAttachName(Collect, &collector);
    std::string missing = dir.path("missing.dat");
    EXPECT_EQ(OVCMDecodeTNEF(&missing[0]), -1);
    EXPECT_EQ(OVCMDecodeTNEF(nullptr), -1);
    EXPECT_TRUE(collector.names.empty());
}

TEST(TnefDecoder, CallbackAnswerOneStopsTheWholeWalk)
{
    Collector stopFirst;
    stopFirst.answer = [](size_t) { return OVCM_TNEF_STOP; };
    std::string two = Stream([](TnefWriter &w) { w.File("a.txt", "1").File("b.txt", "2"); });
    Decoded whole = DecodeWhole(two, stopFirst);
    EXPECT_EQ(whole, (Decoded{0, {"a.txt"}}));
    EXPECT_EQ(DecodeInPieces(two, stopFirst), whole);

    // A stop inside an embedded message also ends the outer walk.
    Decoded nested = DecodeWhole(NestedStream(3), stopFirst);
    EXPECT_EQ(nested, (Decoded{0, {"deep.txt"}}));
}

TEST(TnefDecoder, SaveWritesDataInsideTheDirectoryOnly)
{
    BaseTempDir dir;
    std::string out = dir.path("out");
    ASSERT_TRUE(CreateDirectory(out.c_str()));
    std::string stream = Stream([](TnefWriter &w) {
        w.File("report.txt", "report body")
            .File("../../escape.txt", "evil")
            .File("sub/dir.txt", "slash")
            .File("..", "dots");
        MapiPropsWriter noData;
        noData.String8(0x3707, "nodata.txt");
        w.Attachment("", nullptr, noData);   // data of the previous file is not reused
    });
    std::string path = dir.write("winmail.dat", stream);
    Collector save;
    save.answer = [](size_t) { return OVCM_TNEF_SAVE; };
    OVCMSetExtractAttachName(Collect, &save);
    // The directory and the name are joined by the backslash the setting
    // appends: "out/" saves files named "\<name>" inside out.
    std::string setting = out + "/";
    OVCMSetSaveAttachPath(&setting[0]);
    EXPECT_EQ(OVCMDecodeTNEF(&path[0]), 0);
    OVCMSetSaveAttachPath(nullptr);
    EXPECT_EQ(save.names.size(), 5u);
    EXPECT_EQ(ReadFile(out + "/\\report.txt"), "report body");
    std::vector<std::string> entries = DirectoryEntries(out);
    EXPECT_EQ(entries.size(), 4u);
    for (const std::string &entry : entries) {
        EXPECT_EQ(entry.find('/'), std::string::npos);
        EXPECT_EQ(entry[0], '\\') << entry;
    }
    EXPECT_FALSE(FileExists(dir.path("escape.txt")));
    EXPECT_FALSE(FileExists(out + "/nodata.txt"));
    // Only the save directory and the file itself are there.
    EXPECT_EQ(DirectoryEntries(dir.dir()).size(), 2u);
}

TEST(TnefDecoder, DataAmongThePropertiesIsSavedWhenNoDataRecordCame)
{
    BaseTempDir dir;
    std::string data = "record data";
    std::string stream = Stream([&](TnefWriter &w) {
        MapiPropsWriter binary;
        binary.Binary(0x3701, std::string("bin\0data", 8)).String8(0x3707, "binary.doc");
        MapiPropsWriter object;
        object.Object(0x3701, std::string(16, 'S'), "storage bytes").String8(0x3707, "object.bin");
        MapiPropsWriter both;
        both.Binary(0x3701, "property data").String8(0x3707, "both.txt");
        w.Attachment("", nullptr, binary).Attachment("", nullptr, object).Attachment("", &data, both);
    });
    std::string path = dir.write("winmail.dat", stream);
    Collector save;
    save.answer = [](size_t) { return OVCM_TNEF_SAVE; };
    OVCMSetExtractAttachName(Collect, &save);
    std::string out = dir.dir() + "/";
    OVCMSetSaveAttachPath(&out[0]);
    EXPECT_EQ(OVCMDecodeTNEF(&path[0]), 0);
    OVCMSetSaveAttachPath(nullptr);
    EXPECT_EQ(ReadFile(dir.path("\\binary.doc")), std::string("bin\0data", 8));
    EXPECT_EQ(ReadFile(dir.path("\\object.bin")), "storage bytes");
    EXPECT_EQ(ReadFile(dir.path("\\both.txt")), "record data");
}

TEST(TnefDecoder, SaveFailureAndNoDirectory)
{
    BaseTempDir dir;
    std::string path = dir.write("winmail.dat", Stream([](TnefWriter &w) { w.File("a.txt", "1"); }));
    Collector save;
    save.answer = [](size_t) { return OVCM_TNEF_SAVE; };
    OVCMSetExtractAttachName(Collect, &save);
    std::string missing = dir.path("no/such/dir");
    OVCMSetSaveAttachPath(&missing[0]);
    EXPECT_EQ(OVCMDecodeTNEF(&path[0]), -1);
    OVCMSetSaveAttachPath(nullptr);   // no directory: names only
    EXPECT_EQ(OVCMDecodeTNEF(&path[0]), 0);
    EXPECT_EQ(save.names.size(), 2u);
}

TEST(TnefDecoder, SaveDirectoryGetsOneTrailingBackslash)
{
    struct Row {
        const char *given;
        const char *stored;
        const char *savePath;   // of name "a.txt"
    } rows[] = {
        {"/var/out", "/var/out\\", "/var/out\\a.txt"},
        {"/var/out\\", "/var/out\\", "/var/out\\a.txt"},
        {"/var/out/", "/var/out/\\", "/var/out/\\a.txt"},
        {"", "", "a.txt"},
    };
    for (const Row &row : rows) {
        std::string given = row.given;
        OVCMSetSaveAttachPath(&given[0]);
        EXPECT_STREQ(szAttachPathName, row.stored) << row.given;
        EXPECT_EQ(TnefSavePath(szAttachPathName, "a.txt"), row.savePath) << row.given;
    }
    OVCMSetSaveAttachPath(nullptr);
    EXPECT_STREQ(szAttachPathName, "");
}

TEST(TnefDecoder, SmallPieces)
{
    const unsigned char bytes[] = {0x78, 0x9f, 0x3e, 0x22, 0x01, 0x00};
    EXPECT_EQ(Read32(bytes), TNEF_SIGNATURE);
    EXPECT_EQ(Read16(bytes + 4), 1u);

    AttributeStruct record;
    EXPECT_STREQ(record.m_szName, "default.dat");
    record.m_nId = attPriority;
    record.m_nLevel = 1;
    record.m_nLength = 2;
    const unsigned char high[] = {1, 0};
    EXPECT_NE(dump_tnef_attribute(record, high, 2).find("attPriority (atpShort) level 1"), std::string::npos);
    EXPECT_NE(dump_tnef_attribute(record, high, 2).find("(High)"), std::string::npos);
    record.m_nId = attDateSent;
    const unsigned char date[] = {0xd2, 0x07, 12, 0, 20, 0, 18, 0, 2, 0, 39, 0, 5, 0};
    EXPECT_NE(dump_tnef_attribute(record, date, sizeof date).find("Friday 2002-12-20 18:02:39"),
              std::string::npos);
    record.m_nId = 0x00061234;
    EXPECT_NE(dump_tnef_attribute(record).find("0x00061234 (atpByte)"), std::string::npos);
    EXPECT_STREQ(PropTypeString(0x101E), "PT_MV_STRING8");
    EXPECT_STREQ(TnefAttributeNameOf(attRequestRes), "attRequestRes");
}

} // namespace
