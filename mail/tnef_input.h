// TnefInput: a read cursor over a window [pos, end) of an open TNEF file.
// Every read is checked against the window first, so a truncated stream or
// a length that lies can never make the decoder read outside it, and no
// buffer is sized from a length before the bytes are known to exist.
//
//   TnefInput in(file, start, end);
//   uint32_t count;
//   if (!in.TakeU32(&count)) ...        // fewer than 4 bytes left
//   in.Skip(n);                         // false when n passes the end
//
// The cursor seeks to its position before the first read, so callers may
// move the file in between (nested streams) and Seek back.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

class TnefInput {
public:
    TnefInput(FILE *file, long pos, long end);

    long pos() const { return m_lPos; }
    long end() const { return m_lEnd; }
    long left() const { return m_lEnd - m_lPos; }

    // Reads exactly n bytes; false (position unchanged) when fewer remain
    // in the window or the file fails.
    bool Take(void *out, long n);
    bool TakeU32(uint32_t *value);
    bool TakeU16(uint16_t *value);
    // Appends up to max bytes of the next n to *out and moves past all n.
    bool TakePrefix(long n, long max, std::string *out);
    // Moves n bytes on; false when that passes the end.
    bool Skip(long n);
    // Moves to an absolute position inside the window.
    bool Seek(long pos);

private:
    bool Sync();

    FILE *m_pFile;
    long m_lPos;
    long m_lEnd;
    bool m_bSynced = false;   // the file stands at m_lPos
};
