// The envelope that ovctl writes for a mail, as a gateway would, from the
// mail's headers; and whole-file reads.
#include "tools/hostkit/spool.h"
#include "tools/ovctl_cases.h"

namespace
{

TEST(SpoolTest, AddressListsGiveBareAddresses)
{
    const std::pair<const char *, std::vector<std::string>> rows[] = {
        {"a@x.example", {"a@x.example"}},
        {"Alice <alice@x.example>, bob@y.example", {"alice@x.example", "bob@y.example"}},
        {"\"Doe, John\" <jd@x.example>", {"jd@x.example"}},
        {"carol@z.example (Carol, at work)", {"carol@z.example"}},
        {"team: a@x.example, b@x.example;", {"a@x.example", "b@x.example"}},
        {"undisclosed-recipients:;", {}},
        {"", {}},
        {" , ,", {}}};
    for (const auto &row : rows)
        EXPECT_EQ(parse_address_list(row.first), row.second) << row.first;
}

TEST(SpoolTest, EnvelopeFromHeadersUnfoldedUpToTheBody)
{
    const std::string folded = "From: Alice <alice@x.example>\r\nSubject: first part\r\n"
                               "\tsecond part\r\nto: bob@y.example\r\n\r\n"
                               "Cc: not-a-header@body.example\r\n";
    EXPECT_EQ(header_value(folded, "subject"), "first part second part");
    EXPECT_EQ(header_value(folded, "To"), "bob@y.example");
    EXPECT_EQ(header_value(folded, "Cc"), "");
    EXPECT_EQ(header_value(folded, "Fro"), "");

    const std::string mail = "Return-Path: <bounce@x.example>\nFrom: Alice <alice@x.example>\n"
                             "To: bob@y.example, Carol <carol@y.example>\nCc: bob@y.example\n"
                             "Subject: =?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=\n\nbody\n";
    MailEnvelope envelope = envelope_from_message(mail, 1000);
    EXPECT_EQ(envelope.envelopeFrom, "bounce@x.example");
    EXPECT_EQ(envelope.recipients, (std::vector<std::string>{"bob@y.example", "carol@y.example"}));
    EXPECT_EQ(format_envelope(envelope),
              "F<bounce@x.example>\nT<bob@y.example>\nT<carol@y.example>\n"
              "OAlice <alice@x.example>\nDbob@y.example, Carol <carol@y.example>\n"
              "Cbob@y.example\nS=?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=\nR1000\n");
    // Without Return-Path the From address is the envelope sender; without
    // any sender, the null sender.
    EXPECT_EQ(envelope_from_message("From: a@b.example\n\n", 0).envelopeFrom, "a@b.example");
    EXPECT_EQ(format_envelope(envelope_from_message("\n", 5)), "F<>\nR5\n");
}

// Sizes around the first buffer, a file whose size stat does not tell, and
// a file that is not there.
TEST(SpoolTest, ReadFileReadsEveryByte)
{
    BaseTempDir dir;
    for (size_t size :
         {size_t{0}, size_t{1}, size_t{4095}, size_t{4096}, size_t{4097}, size_t{1} << 20}) {
        std::string bytes(size, '\0');
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<char>(i * 7 + i / 251);
        std::string read = "old", error;
        ASSERT_TRUE(read_file(dir.write("f" + std::to_string(size), bytes), &read, &error));
        EXPECT_EQ(read, bytes) << size;
    }
    std::string status, error;
    ASSERT_TRUE(read_file("/proc/self/status", &status, &error)) << error;
    EXPECT_NE(status.find("Name:"), std::string::npos);
    EXPECT_FALSE(read_file(dir.path("missing"), &status, &error));
    EXPECT_EQ(error.rfind("cannot open ", 0), 0u) << error;
}

} // namespace
