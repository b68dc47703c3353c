// MIME header parameters as a mail client reads them, each header read whole
// and cut at every byte.
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "mail/mime_params.h"

namespace {

// Present, value, charset, extended, plain count, any extended.
using Read = std::tuple<bool, std::string, std::string, bool, int, bool>;

Read Param(const MimeParamReader &reader, const char *name)
{
    const MimeParam *p = reader.Find(name);
    return p ? Read{true, p->value, p->charset, p->extended, p->plainCount, p->anyExtended}
             : Read{false, "", "", false, 0, false};
}

Read ReadCut(const std::string &value, const char *name, const std::vector<size_t> &cuts)
{
    MimeParamReader reader({"boundary", "name", "filename"});
    size_t from = 0;
    for (size_t cut : cuts) {
        reader.Feed(value.data() + from, cut - from);
        from = cut;
    }
    reader.Feed(value.data() + from, value.size() - from);
    reader.Finish();
    return Param(reader, name);
}

Read ReadEveryWay(const std::string &value, const char *name)
{
    Read whole = ReadCut(value, name, {});
    std::vector<size_t> bytes;
    for (size_t cut = 1; cut < value.size(); ++cut) {
        EXPECT_EQ(ReadCut(value, name, {cut}), whole) << "cut at " << cut;
        bytes.push_back(cut);
    }
    EXPECT_EQ(ReadCut(value, name, bytes), whole) << "byte by byte";
    return whole;
}

TEST(MimeParamReader, ReadsParametersAsAClientDoes)
{
    struct Row {
        const char *value;   // after "Content-Type:" (folds as "\r\n" + blank)
        const char *name;
        Read expected;
    } rows[] = {
        // Quoted strings: escapes, ";" inside, junk after the closing quote.
        {" application/x; name=\"ev\\\\il\\\"3.exe\"", "name", {true, "ev\\il\"3.exe", "", false, 1, false}},
        {" multipart/mixed; boundary=\"abc\"x", "boundary", {true, "abc", "", false, 1, false}},
        {" application/x; name=\"unterminated.exe", "name", {true, "unterminated.exe", "", false, 1, false}},
        // Tokens end at a blank; names ignore case and blanks around "=".
        {" application/x; foo; name=abc def.exe", "name", {true, "abc", "", false, 1, false}},
        {" application/x; NAME = \"evil.exe\"", "name", {true, "evil.exe", "", false, 1, false}},
        // A parameter name that only ends in the wanted one is another one.
        {" application/x; x-name=\"harmless.txt\"; name=\"evil4.exe\"", "name",
         {true, "evil4.exe", "", false, 1, false}},
        // "boundary=" inside another value, and a second boundary on a fold.
        {" multipart/mixed; x-note=\"boundary=fake\"; boundary=\"real\"", "boundary",
         {true, "real", "", false, 1, false}},
        {" multipart/mixed; boundary=\"real\";\r\n\tboundary=\"fake\"", "boundary",
         {true, "real", "", false, 2, false}},
        // A folded value keeps the fold's blank; the value may start on the next line.
        {" application/pdf;\r\n name=\"folded\r\n two.exe\"", "name", {true, "folded two.exe", "", false, 1, false}},
        {" application/pdf;\r\n name=\r\n \"split.pdf\"", "name", {true, "split.pdf", "", false, 1, false}},
        // RFC 2231: one piece, sections in any order, a gap ends them.
        {" multipart/mixed; boundary*=us-ascii'en'real", "boundary", {true, "real", "us-ascii", true, 0, true}},
        {" x; filename*=utf-8''evil%2Eexe", "filename", {true, "evil.exe", "utf-8", true, 0, true}},
        {" x; filename*0*=utf-8''ev; filename*1=il.exe", "filename", {true, "evil.exe", "utf-8", true, 0, true}},
        {" x; name*0=\"ev\"; name*1=\"il2.exe\"", "name", {true, "evil2.exe", "", true, 0, true}},
        {" x; name*0*=utf-8''%41; name*2=c.exe; name*1=b", "name", {true, "Abc.exe", "utf-8", true, 0, true}},
        {" x; name*0=a; name*2=c.exe", "name", {true, "a", "", true, 0, true}},
        {" x; name*=''%41.exe%zz%4", "name", {true, "A.exe%zz%4", "", true, 0, true}},
        // Whichever form comes first wins.
        {" x; name=\"a.txt\"; name*=utf-8''b.exe", "name", {true, "a.txt", "", false, 1, true}},
        {" x; name*=utf-8''b.exe; name=\"a.txt\"", "name", {true, "b.exe", "utf-8", true, 1, true}},
        // The media type's own text is not a parameter.
        {" text/plain", "name", {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(ReadEveryWay(row.value, row.name), row.expected);
    }
}

} // namespace
