// Writes characters in Shift_JIS (code 2) or in the host's EUC (code 3: EUC-JP,
// EUC-CN or EUC-TW by host language).
//
//   std::string out;
//   LegacyWriter w(CHARSET_EUC, _language, false, out);
//   w.Put(c) ...;
//   w.Finish();
//
// Characters of the target's own set go by code arithmetic; a character of
// another set goes through iconv's tables and becomes "?" when the target has
// none. ASCII, JIS X 0201 Roman and Raw bytes are written as they are. With
// widenKana, half-width katakana become full-width ones, a following voiced
// or semi-voiced mark joining its letter when such a letter exists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "mail/byte_words.h"
#include "mail/iconv_tables.h"
#include "mail/mb_char.h"

class LegacyWriter {
public:
    LegacyWriter(int target, int language, bool widenKana, std::string &out);

    void Put(const MbChar &c)
    {
        if (c.set == MbSet::Ascii && !m_pending) {
            m_out += static_cast<char>(c.b1);
        } else if (c.set == MbSet::Jis0208 && m_eucJis0208) {
            const char pair[2] = {static_cast<char>(c.b1 | 0x80), static_cast<char>(c.b2 | 0x80)};
            m_out.append(pair, 2);
        } else {
            PutOther(c);
        }
    }
    // True when JIS X 0208 goes straight to EUC-JP: PutJis0208Run may be used.
    bool TakesJis0208Runs() const { return m_eucJis0208; }
    // n bytes of JIS X 0208 pairs, written as Put writes each pair.
    void PutJis0208Run(const uint8_t *p, size_t n)
    {
        const size_t at = m_out.size();
        m_out.resize(at + n);
        char *to = &m_out[at];
        size_t i = 0;
        for (; n - i >= 8; i += 8) {
            const uint64_t word = LoadWord(p + i) | kByteHighs;
            std::memcpy(to + i, &word, 8);
        }
        for (; i < n; ++i)
            to[i] = static_cast<char>(p[i] | 0x80);
    }
    // n ASCII bytes, written as Put writes each.
    void PutAsciiRun(const uint8_t *p, size_t n)
    {
        if (!m_pending) {
            m_out.append(reinterpret_cast<const char *>(p), n);
            return;
        }
        for (size_t i = 0; i < n; ++i)
            Put(MbChar{MbSet::Ascii, p[i], 0});
    }
    // Writes a half-width letter still waiting for a voiced mark.
    void Finish();

private:
    void PutOther(const MbChar &c);
    bool OwnSet(MbSet set) const;
    void Write(const MbChar &c);
    void WriteForeign(const MbChar &c);

    bool m_sjis;
    bool m_eucJis0208;      // JIS X 0208 goes straight to EUC-JP
    int m_language;
    bool m_widen;
    std::string &m_out;
    const char *m_targetName;
    IconvTables m_tables;
    MbChar m_pendingKana{};
    bool m_pending = false;
};
