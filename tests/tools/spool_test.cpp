// The envelope that ovctl writes for a mail, as a gateway would, from the
// mail's headers.
#include "tools/hostkit/spool.h"
#include "tools/ovctl_cases.h"

namespace
{

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
    // No Return-Path: the From address; no sender at all: the null sender.
    EXPECT_EQ(envelope_from_message("From: a@b.example\n\n", 0).envelopeFrom, "a@b.example");
    EXPECT_EQ(format_envelope(envelope_from_message("\n", 5)), "F<>\nR5\n");
}

} // namespace
