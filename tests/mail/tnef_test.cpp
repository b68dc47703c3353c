// The TNEF decoder: attachment names, embedded messages, damaged streams,
// saving, and the exported functions' settings. Every stream is built with the
// test writer and decoded whole from a file through OVCMDecodeTNEF and from a
// reader that hands out one byte per read.
#include <dirent.h>

#include <algorithm>
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

using Names = std::vector<std::string>;

struct Collector {
    Names names;
    int answer = OVCM_TNEF_CONTINUE;
};

int Collect(char *name, void *context)
{
    auto *collector = static_cast<Collector *>(context);
    collector->names.push_back(name);
    return collector->answer;
}

struct Decoded {
    int result = 0;
    Names names;
    bool operator==(const Decoded &o) const { return result == o.result && names == o.names; }
};

// Through the exported functions, saving into `saveDir` when it is not null.
Decoded DecodeWhole(const std::string &bytes, int answer = OVCM_TNEF_CONTINUE,
                    const char *saveDir = nullptr)
{
    BaseTempDir dir;
    std::string path = dir.write("winmail.dat", bytes), save = saveDir ? saveDir : "";
    Collector collector{{}, answer};
    OVCMSetExtractAttachName(Collect, &collector);
    OVCMSetSaveAttachPath(saveDir ? &save[0] : nullptr);
    Decoded out{OVCMDecodeTNEF(&path[0]), {}};
    OVCMSetSaveAttachPath(nullptr);
    out.names = collector.names;
    return out;
}

Decoded DecodeInPieces(const std::string &bytes, int answer = OVCM_TNEF_CONTINUE)
{
    FILE *file = OpenPieceFile(bytes, 1);
    Collector collector{{}, answer};
    TnefDecoder decoder(Collect, &collector, "");
    Decoded out{decoder.Decode(file, long(bytes.size())), {}};
    std::fclose(file);
    out.names = collector.names;
    return out;
}

Decoded DecodeBoth(const std::string &bytes, int answer = OVCM_TNEF_CONTINUE)
{
    Decoded whole = DecodeWhole(bytes, answer);
    EXPECT_EQ(DecodeInPieces(bytes, answer), whole);
    return whole;
}

std::string Stream(const std::function<void(TnefWriter &)> &build)
{
    TnefWriter writer;
    writer.MessageHeader("hello");
    build(writer);
    return writer.bytes();
}

// A stream of one attachment with the given title, data and properties.
std::string One(const std::string &title, const std::string *data, const MapiPropsWriter &props)
{
    return Stream([&](TnefWriter &w) { w.Attachment(title, data, props); });
}

MapiPropsWriter P() { return {}; }

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
    if (level == levels)
        return writer.File("deep.txt", "x").bytes();
    writer.Attachment("", nullptr,
                      P().Object(0x3701, TnefMessageIid(), NestedStream(levels, level + 1))
                          .String8(0x3001, "level" + std::to_string(level) + ".msg"));
    return writer.bytes();
}

Names DirectoryEntries(const std::string &dir)
{
    Names names;
    if (DIR *handle = opendir(dir.c_str())) {
        while (dirent *entry = readdir(handle))
            if (std::strcmp(entry->d_name, ".") && std::strcmp(entry->d_name, ".."))
                names.push_back(entry->d_name);
        closedir(handle);
    }
    return names;
}

TEST(TnefDecoder, AttachmentNamesAsSendersWriteThem)
{
    const std::string data = "attachment bytes";
    const std::string embedded = Stream([&](TnefWriter &w) {
        TnefWriter inner;
        inner.MessageHeader("inner").File("inner1.txt", data).File("inner2.txt", data);
        w.Attachment("", nullptr,
                     P().Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3001, "Fw.msg"));
        w.File("after.txt", data);
    });
    const std::string binaryStream = Stream([&](TnefWriter &w) {
        TnefWriter inner;
        inner.File("x.bin", data);
        w.Attachment("", nullptr, P().Binary(0x3701, inner.bytes()).String8(0x3707, "winmail.dat"));
    });
    const std::string damagedInner = Stream([&](TnefWriter &w) {
        TnefWriter inner;
        inner.File("cut.txt", data);
        w.Attachment("", nullptr,
                     P().Object(0x3701, TnefMessageIid(), inner.bytes().substr(0, 20))
                         .String8(0x3707, "outer.msg"));
        w.File("next.txt", data);
    });
    struct Row {
        const char *what;
        std::string stream;
        Names names;
    };
    const std::vector<Row> rows = {
        {"two files in order", Stream([&](TnefWriter &w) { w.File("a.txt", data).File("b.txt", ""); }),
         {"a.txt", "b.txt"}},
        {"long name before short and display name",
         One("TITLE", &data,
             P().String8(0x3001, "Display").String8(0x3704, "SHORT~1.TXT").String8(0x3707, "long.txt")),
         {"long.txt"}},
        {"short name before display name",
         One("TITLE", &data, P().String8(0x3001, "Display").String8(0x3704, "SHORT.TXT")),
         {"SHORT.TXT"}},
        {"display name alone", One("", nullptr, P().String8(0x3001, "Meeting notes")),
         {"Meeting notes"}},
        {"Unicode name becomes UTF-8", One("", &data, P().Unicode(0x3707, u"\u00dcml \u65e5.txt")),
         {"\xc3\x9cml \xe6\x97\xa5.txt"}},
        {"no name properties, no title", One("", &data, P().Long(0x0E20, 5)), {"default.dat"}},
        {"empty name property: the title stands",
         One("Untitled Attachment", &data, P().String8(0x3001, "")), {"Untitled Attachment"}},
        {"hidden name is not reported", Stream([&](TnefWriter &w) {
             w.Attachment("", &data, P().String8(0x3707, "\n\t\n")).File("seen.txt", data);
         }),
         {"seen.txt"}},
        {"every value shape before the name",
         One("", &data,
             P().Fixed(0x0002, 0x1000, Bytes({1, 0}))
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
                 .String8(0x3707, "after all.doc")),
         {"after all.doc"}},
        {"named property with a file-name id is not a name",
         One("", &data, P().NamedById(0x8707, 0x3707, "not me").String8(0x3704, "me.txt")),
         {"me.txt"}},
        {"an unknown property type ends the list, names before it stand",
         One("", &data,
             P().String8(0x3704, "kept.txt").Fixed(0x0077, 0x1000, "????").String8(0x3707, "lost")),
         {"kept.txt"}},
        {"a value length past the list ends it",
         One("", &data,
             P().String8(0x3704, "kept.txt")
                 .Raw(Bytes({0x02, 0x01, 0x00, 0x10, 1, 0, 0, 0, 0xff, 0xff, 0xff, 0x7f}), true)),
         {"kept.txt"}},
        {"a lying multi-value count ends the list",
         One("TITLE", &data,
             P().Raw(Bytes({0x03, 0x10, 0x00, 0x10, 0xff, 0xff, 0xff, 0xff}), true)
                 .String8(0x3707, "lost.txt")),
         {"default.dat"}},
        {"attachment without attAttachment is not reported", Stream([&](TnefWriter &w) {
             w.Attribute(2, attAttachTitle, std::string("orphan.txt") + '\0')
                 .Attribute(2, attAttachData, data);
         }),
         {}},
        {"embedded message: inner names first", embedded,
         {"inner1.txt", "inner2.txt", "Fw.msg", "after.txt"}},
        {"winmail.dat attached as binary data is walked too", binaryStream, {"x.bin", "winmail.dat"}},
        {"a damaged embedded stream leaves the outer walk going", damagedInner,
         {"outer.msg", "next.txt"}},
        {"record cut short ends the walk at the last whole record", Stream([&](TnefWriter &w) {
             w.File("whole.txt", data).LyingAttribute(2, attAttachData, 0xFFFFFFF0u, "short");
         }),
         {"whole.txt"}},
        {"garbage after the last record",
         Stream([&](TnefWriter &w) { w.File("last.txt", data).Raw("\x02\x05garbage"); }),
         {"last.txt"}},
        // A long name is cut at 254 bytes without splitting the "é" there.
        {"long name", Stream([](TnefWriter &w) { w.File(std::string(254, 'a') + "\xc3\xa9z", "x"); }),
         {std::string(254, 'a')}},
        {"four levels", NestedStream(4), {"deep.txt", "level3.msg", "level2.msg", "level1.msg"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(DecodeBoth(row.stream), (Decoded{0, row.names}));
    }
}

TEST(TnefDecoder, EmbeddedStreamsAreFollowedTwentyDeep)
{
    Names expected;
    for (int level = 20; level >= 1; --level)
        expected.push_back("level" + std::to_string(level) + ".msg");
    EXPECT_EQ(DecodeBoth(NestedStream(25)), (Decoded{0, expected}));
}

TEST(TnefDecoder, EveryTruncationEndsCleanlyWithAPrefixOfTheNames)
{
    TnefWriter inner;
    inner.File("inner.txt", "inner data");
    MapiPropsWriter p = P().Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3707, "m.msg");
    std::string full = Stream(
        [&](TnefWriter &w) { w.File("one.txt", "1111").Attachment("", nullptr, p).File("two", "2"); });
    Names all = DecodeBoth(full).names;
    ASSERT_EQ(all, (Names{"one.txt", "inner.txt", "m.msg", "two"}));
    for (size_t length = 0; length < full.size(); ++length) {
        SCOPED_TRACE(length);
        Decoded got = DecodeInPieces(full.substr(0, length));
        EXPECT_EQ(got.result, length < 6 ? -1 : 0);
        ASSERT_LE(got.names.size(), all.size());
        EXPECT_TRUE(std::equal(got.names.begin(), got.names.end(), all.begin()));
    }
}

TEST(TnefDecoder, NotTnefOrNoCallbackGivesMinusOneAndNoCalls)
{
    EXPECT_EQ(DecodeBoth("\x78\x9f\x3e\x23 not a tnef stream"), (Decoded{-1, {}}));
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
    std::string two = Stream([](TnefWriter &w) { w.File("a.txt", "1").File("b.txt", "2"); });
    EXPECT_EQ(DecodeBoth(two, OVCM_TNEF_STOP), (Decoded{0, {"a.txt"}}));
    // A stop inside an embedded message also ends the outer walk.
    EXPECT_EQ(DecodeWhole(NestedStream(3), OVCM_TNEF_STOP), (Decoded{0, {"deep.txt"}}));
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
        // The data of the previous file is not reused.
        w.Attachment("", nullptr, P().String8(0x3707, "nodata.txt"));
    });
    // The directory and the name are joined by the backslash the setting
    // appends: "out/" saves files named "\<name>" inside out.
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE, (out + "/").c_str()).names.size(), 5u);
    EXPECT_EQ(ReadFile(out + "/\\report.txt"), "report body");
    Names entries = DirectoryEntries(out);
    EXPECT_EQ(entries.size(), 4u);
    for (const std::string &entry : entries) {
        EXPECT_EQ(entry.find('/'), std::string::npos);
        EXPECT_EQ(entry[0], '\\') << entry;
    }
    EXPECT_FALSE(FileExists(out + "/nodata.txt"));
    EXPECT_EQ(DirectoryEntries(dir.dir()), Names{"out"});

    // Data among the properties is saved when no data record came.
    std::string data = "record data";
    stream = Stream([&](TnefWriter &w) {
        w.Attachment("", nullptr,
                     P().Binary(0x3701, std::string("bin\0data", 8)).String8(0x3707, "binary.doc"));
        w.Attachment("", nullptr,
                     P().Object(0x3701, std::string(16, 'S'), "storage").String8(0x3707, "o.bin"));
        w.Attachment("", &data, P().Binary(0x3701, "property data").String8(0x3707, "both.txt"));
    });
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE, (dir.dir() + "/").c_str()).result, 0);
    EXPECT_EQ(ReadFile(dir.path("\\binary.doc")), std::string("bin\0data", 8));
    EXPECT_EQ(ReadFile(dir.path("\\o.bin")), "storage");
    EXPECT_EQ(ReadFile(dir.path("\\both.txt")), "record data");

    // A directory that is not there fails the decode; no directory: names only.
    stream = Stream([](TnefWriter &w) { w.File("a.txt", "1"); });
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE, dir.path("no/such/dir").c_str()).result, -1);
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE), (Decoded{0, {"a.txt"}}));
}

TEST(TnefDecoder, SaveDirectoryGetsOneTrailingBackslash)
{
    struct Row {
        const char *given, *stored, *savePath; // of name "a.txt"
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
    std::string dump = dump_tnef_attribute(record, high, 2);
    EXPECT_NE(dump.find("attPriority (atpShort) level 1"), std::string::npos);
    EXPECT_NE(dump.find("(High)"), std::string::npos);
    const unsigned char low[] = {3, 0};
    EXPECT_NE(dump_tnef_attribute(record, low, 2).find("(Low)"), std::string::npos);
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
