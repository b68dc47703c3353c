// AttachDecodeComp: the readable text of attachment files, added to the
// mail's scan text so that the keyword scan also sees what attachments say
// (the "EnableAttachScan" setting).
//
//   if (AttachDecodeComp::IsIncluded(name))
//       AttachDecodeComp::DecodeTextFile(decodedPath, name, buf, textFile);
//
// Files are chosen by extension: ".txt", ".doc", ".ppt", ".xls" in any
// case. A text file is read like a body (each line's code detected and
// converted to EUC; UTF-8 and UTF-16 files through iconv). From the binary
// Office files the runs of text are taken out, as their programs store it:
// runs of at least four printable ASCII characters, and runs of at least
// four UTF-16 characters (Latin, kana, CJK, full-width forms) converted to
// the host's EUC form; each run becomes one line. Formatting, numbers in
// binary form and embedded pictures are left out.
#pragma once

#include <cstdio>
#include <string>

#include "ov/contscan.h"

class CMailInfo;

class AttachDecodeComp {
public:
    // Whether the text of a file with this name is gathered.
    static bool IsIncluded(const char *name);
    // Appends the text of the file at path (decoded content, named `name`)
    // to buf / text as the MIME walk writes text; false when it cannot be
    // read or is not an included kind.
    static bool DecodeTextFile(const char *path, const char *name, MEMBUF *buf, FILE *text);
    // The text of every included attachment of info that is not TNEF
    // (those are read by GetTnefFileName): each is extracted from dfFile,
    // decoded by its transfer encoding, read, and its temporary files
    // removed. Returns the number of attachments read.
    static int TraverseDecodeProcedure(const char *dfFile, CMailInfo &info, MEMBUF *buf, FILE *text);

    // The text runs of a binary Office file (exposed for tests).
    static std::string OfficeText(const std::string &bytes);
};
