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
// boundary line; a single-part attachment's from its Content-Type line (or
// a Content-Disposition line before it) to the end of the file.
// Transfer-encoding codes recorded in m_nEncoding are
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
//  - Parameters of Content-Type and Content-Disposition are read as a mail
//    client reads them (MimeParamReader): quoted strings with their escapes,
//    folded values joined, RFC 2231 values, "boundary=" inside another
//    parameter's value left alone. A boundary counts only in a multipart/*
//    type, so a text part that carries one (as delivery reports do) does not
//    hide the parts after it. Of each header block only the first
//    Content-Type and the first Content-Disposition count, and of the
//    boundary parameters the first. A Content-Disposition filename wins over
//    a Content-Type name, in any order of the two headers, at the top too.
//  - Where the mail itself can be read two ways, the walk notes it in
//    CMailInfo::m_nMimeAmbiguity (MIME_AMBIGUOUS_... below).
//  - A name may hold encoded words of any length up to a name field's
//    worth; control characters in names become blanks (AddAttachInfo).
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
#include <string>

#include "ov/contscan.h"

class CMailInfo;

// Shapes that clients may read differently (CMailInfo::m_nMimeAmbiguity).
enum : int {
    MIME_AMBIGUOUS_CONTENT_TYPES = 1,     // two Content-Type headers in one block
    MIME_AMBIGUOUS_BOUNDARIES = 2,        // two boundary parameters
    MIME_AMBIGUOUS_ENCODED_BOUNDARY = 4,  // an RFC 2231-encoded boundary
    MIME_AMBIGUOUS_LONG_BOUNDARY = 8,     // a boundary longer than 70 characters
};

// The reasons of an ambiguity word, "; "-separated, "" for none.
std::string MimeAmbiguityText(int reasons);

// False only when the mail cannot be opened ("rb"). The text file is
// written only when textPath is given and opens ("wb"); the MEMBUF is
// filled from its start and, when the text stays in memory, ends with a
// NUL. buf and info may be null. A failed write or close of the text file
// sets CMailInfo::m_bTextWriteFailed: the text is then incomplete.
bool GetAttachmentInfo(const char *mailPath, MEMBUF *buf, const char *textPath, CMailInfo *info);

// How body and header lines reach the text: kFast writes text that no
// converter changes as it stands; kReference sends every line through
// detection and conversion (for tests that compare the two).
enum class MimeTextPath { kFast, kReference };

// The same walk over an open mail of `size` bytes read from its current
// position; blockSize is the read size (tests feed one byte at a time).
// False when a write to the text file failed.
bool WalkMail(FILE *mail, long size, MEMBUF *buf, FILE *text, CMailInfo *info,
              size_t blockSize = 65536, MimeTextPath path = MimeTextPath::kFast);
