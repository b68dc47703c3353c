// The envelope that ovctl writes for a mail, as a gateway would.
#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "tools/hostkit/spool.h"

namespace {

TEST(SpoolTest, AddressListsGiveBareAddresses)
{
    struct Row {
        const char *value;
        std::vector<std::string> expected;
    } rows[] = {
        {"a@x.example", {"a@x.example"}},
        {"Alice <alice@x.example>, bob@y.example", {"alice@x.example", "bob@y.example"}},
        {"\"Doe, John\" <jd@x.example>", {"jd@x.example"}},
        {"carol@z.example (Carol, at work)", {"carol@z.example"}},
        {"undisclosed-recipients:;", {}},
        {"team: a@x.example, b@x.example;", {"a@x.example", "b@x.example"}},
        {"", {}},
        {" , ,", {}},
    };
    for (const Row &row : rows)
        EXPECT_EQ(parse_address_list(row.value), row.expected) << row.value;
}

TEST(SpoolTest, HeaderValuesAreUnfoldedAndStopAtTheBody)
{
    const std::string mail = "From: Alice <alice@x.example>\r\n"
                             "Subject: first part\r\n"
                             "\tsecond part\r\n"
                             "to: bob@y.example\r\n"
                             "\r\n"
                             "Cc: not-a-header@body.example\r\n";
    EXPECT_EQ(header_value(mail, "subject"), "first part second part");
    EXPECT_EQ(header_value(mail, "To"), "bob@y.example");
    EXPECT_EQ(header_value(mail, "Cc"), "");
    EXPECT_EQ(header_value(mail, "Fro"), "");
}

TEST(SpoolTest, EnvelopeFromHeaders)
{
    const std::string mail = "Return-Path: <bounce@x.example>\n"
                             "From: Alice <alice@x.example>\n"
                             "To: bob@y.example, Carol <carol@y.example>\n"
                             "Cc: bob@y.example\n"
                             "Subject: =?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=\n"
                             "\n"
                             "body\n";
    MailEnvelope envelope = envelope_from_message(mail, 1000);
    EXPECT_EQ(envelope.envelopeFrom, "bounce@x.example");
    EXPECT_EQ(envelope.recipients, (std::vector<std::string>{"bob@y.example", "carol@y.example"}));
    EXPECT_EQ(format_envelope(envelope), "F<bounce@x.example>\n"
                                         "T<bob@y.example>\n"
                                         "T<carol@y.example>\n"
                                         "OAlice <alice@x.example>\n"
                                         "Dbob@y.example, Carol <carol@y.example>\n"
                                         "Cbob@y.example\n"
                                         "S=?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=\n"
                                         "R1000\n");
    // Without Return-Path the From address is the envelope sender.
    EXPECT_EQ(envelope_from_message("From: a@b.example\n\n", 0).envelopeFrom, "a@b.example");
    // A mail without any sender gets the null sender.
    EXPECT_EQ(format_envelope(envelope_from_message("\n", 5)), "F<>\nR5\n");
}

} // namespace

namespace {

// Whole-file reads: sizes around the first buffer, a file whose size stat
// does not tell, and a file that is not there.
TEST(SpoolTest, ReadFileReadsEveryByte)
{
    BaseTempDir dir;
    for (size_t size : {size_t{0}, size_t{1}, size_t{4095}, size_t{4096}, size_t{4097},
                        size_t{1} << 20}) {
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
