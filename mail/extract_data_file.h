// ExtractDataFile: a copy of a message file without its uuencoded blocks,
// for handing a mail on with such attachments removed.
//
//   ExtractDataFile("/spool/DFI123", "/tmp/DFI123.clean");
//
// The headers are copied as they are; in the body every line from one that
// starts "begin " followed by an octal mode (as the MIME walk recognises a
// block) through the line starting "end" is left out. The copy follows the
// outer boundary of a multipart mail: a block whose "end" line is missing
// stops at the next outer boundary line, which is copied.
#pragma once

// False when either file cannot be opened.
bool ExtractDataFile(const char *mailPath, const char *outPath);
