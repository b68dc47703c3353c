// The TNEF decoder: names, embedded messages, damaged streams and saving;
// each stream decoded whole from a file and from a reader of one byte a read.
#include <algorithm>
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
using Decoded = std::pair<int, Names>; // result, names

struct Collector {
    Names names;
    int answer;
    static int Collect(char *name, void *context)
    {
        static_cast<Collector *>(context)->names.push_back(name);
        return static_cast<Collector *>(context)->answer;
    }
};

// Through the exported functions, saving into `saveDir` when it is not null.
Decoded DecodeWhole(const std::string &bytes, int answer = OVCM_TNEF_CONTINUE, const char *saveDir = nullptr)
{
    BaseTempDir dir;
    std::string path = dir.write("winmail.dat", bytes), save = saveDir ? saveDir : "";
    Collector collector{{}, answer};
    OVCMSetExtractAttachName(Collector::Collect, &collector);
    OVCMSetSaveAttachPath(saveDir ? &save[0] : nullptr);
    int result = OVCMDecodeTNEF(&path[0]);
    OVCMSetSaveAttachPath(nullptr);
    return {result, collector.names};
}

Decoded DecodeInPieces(const std::string &bytes, int answer = OVCM_TNEF_CONTINUE)
{
    FILE *file = OpenPieceFile(bytes, 1);
    Collector collector{{}, answer};
    int result = TnefDecoder(Collector::Collect, &collector, "").Decode(file, long(bytes.size()));
    std::fclose(file);
    return {result, collector.names};
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

std::string One(const std::string &title, const std::string *data, const MapiPropsWriter &props)
{
    return Stream([&](TnefWriter &w) { w.Attachment(title, data, props); });
}

MapiPropsWriter P() { return {}; }

// `levels` streams, each embedding the next; the innermost holds "deep.txt".
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

std::string Embedding(const std::string &inner, const std::string &name, bool asObject = true)
{
    MapiPropsWriter props;
    if (asObject)
        props.Object(0x3701, TnefMessageIid(), inner);
    else
        props.Binary(0x3701, inner);
    return Stream([&](TnefWriter &w) {
        w.Attachment("", nullptr, props.String8(0x3707, name)).File("after.txt", "x");
    });
}

TEST(TnefDecoder, AttachmentNamesAsSendersWriteThem)
{
    const std::string data = "bytes";
    TnefWriter inner;
    inner.MessageHeader("inner").File("inner1.txt", data).File("inner2.txt", data);
    Names twenty;
    for (int level = 20; level >= 1; --level)
        twenty.push_back("level" + std::to_string(level) + ".msg");
    struct Row {
        const char *what;
        std::string stream;
        Names names;
    };
    auto titled = [&](const MapiPropsWriter &props) { return One("TITLE", &data, props); };
    auto untitled = [&](const MapiPropsWriter &props) { return One("", &data, props); };
    const std::vector<Row> rows = {
        {"long name first", titled(P().String8(0x3001, "D").String8(0x3704, "S~1.TXT").String8(0x3707, "l.txt")),
         {"l.txt"}},
        {"then the short name", titled(P().String8(0x3001, "Display").String8(0x3704, "S.TXT")), {"S.TXT"}},
        {"display name alone", One("", nullptr, P().String8(0x3001, "Meeting notes")), {"Meeting notes"}},
        {"Unicode name becomes UTF-8", untitled(P().Unicode(0x3707, u"\u00dcml \u65e5.txt")),
         {"\xc3\x9cml \xe6\x97\xa5.txt"}},
        {"no name properties, no title", untitled(P().Long(0x0E20, 5)), {"default.dat"}},
        {"empty name property: the title stands", titled(P().String8(0x3001, "")), {"TITLE"}},
        {"hidden name is not reported", Stream([&](TnefWriter &w) {
             w.Attachment("", &data, P().String8(0x3707, "\n\t\n")).File("seen.txt", data);
         }),
         {"seen.txt"}},
        {"every value shape before the name",
         untitled(P().Fixed(0x0002, 0x1000, std::string("\1\0", 2))
                      .Fixed(0x0005, 0x1002, std::string(8, 'd'))
                      .Fixed(0x0048, 0x1003, std::string(16, 'g'))
                      .MultiFixed(0x0003, 0x1004, {"1111", "2222", "3333"})
                      .MultiFixed(0x0002, 0x1005, {std::string("\7\0", 2)})
                      .MultiString8(0x1006, {"one", "three", ""})
                      .Binary(0x1007, "odd")
                      .NamedById(0x8001, 0x8233, "named by id")
                      .NamedByString(0x8002, u"Keywords", "named by string")
                      .Object(0x1008, std::string(16, 'i'), "not a stream")
                      .String8(0x3707, "after all.doc")),
         {"after all.doc"}},
        {"named property with a file-name id is not a name",
         untitled(P().NamedById(0x8707, 0x3707, "not me").String8(0x3704, "me.txt")), {"me.txt"}},
        {"an unknown property type ends the list",
         untitled(P().String8(0x3704, "kept.txt").Fixed(0x0077, 0x1000, "????").String8(0x3707, "lost")),
         {"kept.txt"}},
        {"a value length past the list ends it",
         untitled(P().String8(0x3704, "kept.txt").Raw(std::string("\2\1\0\x10\1\0\0\0\xff\xff\xff\x7f", 12), true)),
         {"kept.txt"}},
        {"a lying multi-value count ends the list",
         titled(P().Raw(std::string("\3\x10\0\x10\xff\xff\xff\xff", 8), true).String8(0x3707, "lost.txt")),
         {"default.dat"}},
        {"attachment without attAttachment is not reported", Stream([&](TnefWriter &w) {
             w.Attribute(2, attAttachTitle, std::string("orphan.txt") + '\0').Attribute(2, attAttachData, data);
         }),
         {}},
        {"embedded message: inner names first", Embedding(inner.bytes(), "Fw.msg"),
         {"inner1.txt", "inner2.txt", "Fw.msg", "after.txt"}},
        {"winmail.dat attached as binary data", Embedding(inner.bytes(), "winmail.dat", false),
         {"inner1.txt", "inner2.txt", "winmail.dat", "after.txt"}},
        {"record cut short: the walk ends at the last whole record", Stream([&](TnefWriter &w) {
             w.File("whole.txt", data).LyingAttribute(2, attAttachData, 0xFFFFFFF0u, "short");
         }),
         {"whole.txt"}},
        {"garbage after the last record",
         Stream([&](TnefWriter &w) { w.File("last.txt", data).Raw("\x02\x05garbage"); }), {"last.txt"}},
        // A long name is cut at 254 bytes without splitting the "é" there.
        {"long name", Stream([](TnefWriter &w) { w.File(std::string(254, 'a') + "\xc3\xa9z", "x"); }),
         {std::string(254, 'a')}},
        {"embedded streams are followed twenty deep", NestedStream(25), twenty},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(DecodeBoth(row.stream), Decoded(0, row.names));
    }
}

TEST(TnefDecoder, EveryTruncationEndsCleanlyWithAPrefixOfTheNames)
{
    TnefWriter inner;
    inner.File("inner.txt", "inner data");
    MapiPropsWriter p = P().Object(0x3701, TnefMessageIid(), inner.bytes()).String8(0x3707, "m.msg");
    std::string full = Stream(
        [&](TnefWriter &w) { w.File("one.txt", "1111").Attachment("", nullptr, p).File("two", "2"); });
    Names all = DecodeBoth(full).second;
    ASSERT_EQ(all, (Names{"one.txt", "inner.txt", "m.msg", "two"}));
    for (size_t length = 0; length < full.size(); ++length) {
        SCOPED_TRACE(length);
        Decoded got = DecodeInPieces(full.substr(0, length));
        EXPECT_EQ(got.first, length < 6 ? -1 : 0);
        ASSERT_LE(got.second.size(), all.size());
        EXPECT_TRUE(std::equal(got.second.begin(), got.second.end(), all.begin()));
    }
}

TEST(TnefDecoder, FailuresAndCallbackAnswers)
{
    EXPECT_EQ(DecodeBoth("\x78\x9f\x3e\x23 not a tnef stream"), Decoded(-1, {}));
    BaseTempDir dir;
    std::string path = dir.write("winmail.dat", Stream([](TnefWriter &w) { w.File("a", "b"); }));
    OVCMSetExtractAttachName(nullptr, nullptr);
    EXPECT_EQ(OVCMDecodeTNEF(&path[0]), -1);
    Collector collector{{}, OVCM_TNEF_CONTINUE};
    OVCMSetExtractAttachName(Collector::Collect, &collector);
    std::string missing = dir.path("missing.dat");
    EXPECT_EQ(OVCMDecodeTNEF(&missing[0]), -1);
    EXPECT_EQ(OVCMDecodeTNEF(nullptr), -1);
    EXPECT_TRUE(collector.names.empty());
    // Answer one stops the whole walk, also from inside an embedded message.
    std::string two = Stream([](TnefWriter &w) { w.File("a.txt", "1").File("b.txt", "2"); });
    EXPECT_EQ(DecodeBoth(two, OVCM_TNEF_STOP), Decoded(0, {"a.txt"}));
    EXPECT_EQ(DecodeWhole(NestedStream(3), OVCM_TNEF_STOP), Decoded(0, {"deep.txt"}));
}

TEST(TnefDecoder, SaveWritesDataInsideTheDirectoryOnly)
{
    BaseTempDir dir;
    std::string out = dir.path("out"), data = "record data";
    ASSERT_TRUE(CreateDirectory(out.c_str()));
    std::string stream = Stream([&](TnefWriter &w) {
        w.File("report.txt", "report body").File("../../escape.txt", "evil").File("sub/dir.txt", "slash");
        w.File("..", "dots").Attachment("", nullptr, P().String8(0x3707, "nodata.txt")); // no data: no file
        // Data among the properties is saved when no data record came.
        w.Attachment("", nullptr, P().Binary(0x3701, std::string("bin\0data", 8)).String8(0x3707, "binary.doc"));
        w.Attachment("", nullptr, P().Object(0x3701, std::string(16, 'S'), "storage").String8(0x3707, "o.bin"));
        w.Attachment("", &data, P().Binary(0x3701, "property data").String8(0x3707, "both.txt"));
    });
    // The directory and the name are joined by the backslash the setting
    // appends: "out/" saves files named "\<name>" inside out.
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE, (out + "/").c_str()).second.size(), 8u);
    const Names entries = FilesBelow(dir.dir());
    EXPECT_EQ(entries.size(), 7u);
    for (const std::string &entry : entries)
        EXPECT_EQ(entry.substr(0, out.size() + 2), out + "/\\") << entry;
    EXPECT_EQ(ReadFile(out + "/\\report.txt"), "report body");
    EXPECT_EQ(ReadFile(out + "/\\binary.doc"), std::string("bin\0data", 8));
    EXPECT_EQ(ReadFile(out + "/\\o.bin"), "storage");
    EXPECT_EQ(ReadFile(out + "/\\both.txt"), "record data");
    // A directory that is not there fails the decode; no directory: names only.
    stream = Stream([](TnefWriter &w) { w.File("a.txt", "1"); });
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE, dir.path("no/such/dir").c_str()).first, -1);
    EXPECT_EQ(DecodeWhole(stream, OVCM_TNEF_SAVE), Decoded(0, {"a.txt"}));
    const struct {
        const char *given, *stored, *savePath; // of name "a.txt"
    } rows[] = {{"/var/out", "/var/out\\", "/var/out\\a.txt"}, {"/var/out\\", "/var/out\\", "/var/out\\a.txt"},
                {"/var/out/", "/var/out/\\", "/var/out/\\a.txt"}, {"", "", "a.txt"}};
    for (const auto &row : rows) {
        std::string given = row.given;
        OVCMSetSaveAttachPath(&given[0]);
        EXPECT_STREQ(szAttachPathName, row.stored) << row.given;
        EXPECT_EQ(TnefSavePath(szAttachPathName, "a.txt"), row.savePath) << row.given;
    }
    OVCMSetSaveAttachPath(nullptr);
}

TEST(TnefDecoder, SmallPieces)
{
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
}

} // namespace
