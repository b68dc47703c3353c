// The rule scanner's attachment operations: they take an attachment's byte
// range out of the message file, decode it by its transfer encoding, list
// the files inside TNEF attachments (winmail.dat) into the attachment's
// name list, and, when attachment scanning is on, add the text of text and
// Office attachments to the mail's scan text. CRuleScan::Scan calls
// GetTnefFileName after the MIME walk:
//
//   GetAttachmentInfo(dfFile, buffer, textPath, &info);
//   if (decodeTnef)
//       GetTnefFileName(dfFile, enableAttachScan, info, buffer, textPath);
//
// Temporary files go to the plug-in's temporary directory (g_t_strTEMPDIR,
// "/tmp/" while none is set) under unique names, carry the mail's direction
// in their prefix ("ATI" inbound, "ATO" outbound, "TNF" for files taken
// out of a TNEF stream) and are always removed before the call returns.
// Names found inside TNEF streams are converted to the host code; every
// one is kept, however many the stream holds.
#pragma once

#include <cstdio>
#include <string>

#include "ov/contscan.h"

class Attach_Stru;
class CMailInfo;

// Type application/ms-tnef, or the name winmail.dat (any case).
bool IsTnefAttachment(const Attach_Stru &attach);

// The directory for temporary attachment files, ending in "/".
std::string AttachmentTempDir();

// Writes the encoded body of the attachment (its range in dfFile without
// the part's header lines; for a uuencoded block the lines between "begin"
// and "end") to outPath. A range whose end was never found runs to the end
// of the file. False for an unknown start (-1) or a file that cannot be
// opened.
bool TakeAttachmentIntoSingleFile(const char *dfFile, const Attach_Stru &attach, const char *outPath);

// Extracts attachment `index` of info into a temporary file (kept in its
// m_strTempFile) and decodes it by m_nEncoding (4 base64, 2
// quoted-printable, 32 uuencode, anything else copied) into a second one
// (m_strTempFile2). False when either cannot be made.
bool DecodeAttachmentContent(const char *dfFile, CMailInfo &info, int index);

// Deletes the attachment's two temporary files and empties their names.
void RemoveAttachmentTempFiles(Attach_Stru &attach);

// Runs the TNEF decoder over a decoded TNEF file and appends every name it
// reports to the attachment's list. With an extract directory the data of
// each file whose text is gathered (AttachDecodeComp::IsIncluded) is saved
// there under a unique name, its text appended to buf / text, and the file
// deleted before the next name comes, so one file at most is on disk. The
// decoder's result (0, or negative).
int GetTnefAttachmentName(Attach_Stru &attach, const char *tnefPath, const char *extractDir,
                          MEMBUF *buf = nullptr, FILE *text = nullptr);

// A name or header text in the host code: encoded words decoded, UTF-8 (as
// TNEF gives Unicode names) converted through iconv, anything else through
// fromANY. malloc'ed; null for a null text.
char *DecodeString(const char *text);

// For every TNEF attachment of info (not yet decoded): extracts and decodes
// it, lists the names inside into the attachment (m_bTnef set when the
// stream was TNEF). With enableAttachScan, the text of included files
// inside TNEF streams and of included ordinary attachments is appended to
// buf / the text file at textPath, after the walk's text. Returns the
// number of TNEF attachments decoded.
int GetTnefFileName(const char *dfFile, bool enableAttachScan, CMailInfo &info,
                    MEMBUF *buf = nullptr, const char *textPath = nullptr);
