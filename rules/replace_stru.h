// Replace_Stru: the attachments of one mail that the specialized filter
// picked for replacement. CRuleScan::Scan fills it, in the order of the
// attachments in the mail (so by ascending m_nStart); the attachment rewrite
// cuts each entry's byte range out of the message and puts a text part in
// its place.
//
// The record lives on the stack of the per-mail processing. Each entry is a
// copy of the mail's Attach_Stru (name, content type, byte range and the
// names found inside it; a copy never owns the original's temporary files);
// the record deletes its copies.
#pragma once

#include "mail/attach.h"
#include "mail/mail_info.h"

struct Replace_Stru {
    Replace_Stru() = default;
    ~Replace_Stru() { Clear(); }
    Replace_Stru(const Replace_Stru &) = delete;
    Replace_Stru &operator=(const Replace_Stru &) = delete;

    // Appends a copy of attach; false when the record is full or memory ran
    // out.
    bool Add(const Attach_Stru &attach);
    // Deletes every copy; count becomes 0.
    void Clear();

    int count = 0;
    Attach_Stru *entries[MAX_ATTACH_COUNT] = {};
};
