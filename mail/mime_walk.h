// GetAttachmentInfo: one pass over a message file (DF) that lists the
// mail's attachments into a CMailInfo, with the byte range of each, and
// writes the mail's readable text into a MEMBUF (and, past 99999 bytes,
// into the text file) for the keyword scan.
//
//   MEMBUF text;
//   CMailInfo info;
//   GetAttachmentInfo(dfPath, &text, textPath, &info);
//
// The pass is a line-driven state machine (MimeWalk):
//   1 top-level headers      4 inside a Content-Type header
//   2 body                   5 inside a Content-Disposition header
//   3 part headers           6 headers of an enclosed message
// It follows nested multiparts with a boundary stack, records every part
// with a non-text type or a name (a message/* part with start -1, its own
// headers then read as part headers), and treats uuencoded blocks in a body
// as attachments of type "UUEncoded". A part's range runs from just after
// its boundary line (its headers included) to the start of the next
// boundary line; a single-part attachment's from its Content-Type line to
// the end of the file. Transfer-encoding codes recorded in m_nEncoding are
// 32 for uuencoded blocks, and 4 for every attachment from the first base64
// part on (0 before it).
//
// Choices where real mail needed one:
//  - The boundary stack has no fixed depth: each boundary parameter line
//    adds one entry, so a mail nested 10 000 deep is followed to its
//    innermost part. Every step reads a line once (one look-ahead line is
//    put back) and looks at the top boundary alone, so the cost grows with
//    the size of the mail whatever its shape.
//  - A boundary line may carry trailing blanks (RFC 2046 transport padding).
//  - A quoted name ends at the quote that closes it (followed by ";" or the
//    line end), so that later quoted parameters (creation-date="...") stay
//    out of it; an unquoted value that a quote follows later on the line is
//    still read as unquoted.
//  - A uuencoded block starts at "begin " followed by an octal mode and a
//    blank, so that a text line that starts with the word "begin" does not
//    hide the rest of the body from the scan.
//  - An enclosed message's headers start with the text class (the default
//    type of a message), so an enclosed message without a Content-Type has
//    its body read as a body.
//  - The part whose end is pending gets it, even when a uuencoded block was
//    recorded after it.
#pragma once

#include <cstddef>
#include <cstdio>

#include "ov/contscan.h"

class CMailInfo;

// False only when the mail cannot be opened ("rb"). The text file is
// written only when textPath is given and opens ("wb"); the MEMBUF is
// filled from its start and, when the text stays in memory, ends with a
// NUL. buf and info may be null.
bool GetAttachmentInfo(const char *mailPath, MEMBUF *buf, const char *textPath, CMailInfo *info);

// The same walk over an open mail of `size` bytes read from its current
// position; blockSize is the read size (tests feed one byte at a time).
void WalkMail(FILE *mail, long size, MEMBUF *buf, FILE *text, CMailInfo *info,
              size_t blockSize = 65536);
