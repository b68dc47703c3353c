// LegacyWriter: characters into Shift_JIS or the host's EUC code.
#include "mail/legacy_writer.h"

#include "mail/charset.h"
#include "mail/code_arith.h"
#include "mail/kana_width.h"

namespace {

const char *HostEucName(int language)
{
    switch (language) {
    case LANG_CHINESE: return "EUC-CN";
    case LANG_TAIWAN: return "EUC-TW";
    default: return "EUC-JP";
    }
}

} // namespace

LegacyWriter::LegacyWriter(int target, int language, bool widenKana, std::string &out)
    : m_sjis(target == CHARSET_SJIS),
      m_eucJis0208(!m_sjis && language != LANG_CHINESE && language != LANG_TAIWAN),
      m_language(language),
      m_widen(widenKana),
      m_out(out),
      m_targetName(m_sjis ? "SHIFT_JIS" : HostEucName(language))
{
}

bool LegacyWriter::OwnSet(MbSet set) const
{
    if (m_sjis)
        return set == MbSet::Jis0208 || set == MbSet::Kana;
    switch (m_language) {
    case LANG_CHINESE: return set == MbSet::Gb2312 || set == MbSet::IsoIr165;
    case LANG_TAIWAN: return IsCnsPlane(set);
    default: return set == MbSet::Jis0208 || set == MbSet::Jis0212 || set == MbSet::Kana;
    }
}

void LegacyWriter::PutOther(const MbChar &c)
{
    if (!m_widen) {
        Write(c);
        return;
    }
    if (m_pending) {
        m_pending = false;
        MbChar letter = m_pendingKana;
        if (c.set == MbSet::Kana && JoinVoicedMark(letter, c.b1)) {
            Write(letter);
            return;
        }
        Write(letter);
    }
    if (c.set == MbSet::Kana) {
        m_pendingKana = WidenKana(c.b1);
        m_pending = true;
        return;
    }
    Write(c);
}

void LegacyWriter::Finish()
{
    if (m_pending)
        Write(m_pendingKana);
    m_pending = false;
}

void LegacyWriter::Write(const MbChar &c)
{
    if (!IsDoubleByte(c.set) && c.set != MbSet::Kana) {
        m_out += static_cast<char>(c.b1);
        return;
    }
    if (!OwnSet(c.set)) {
        WriteForeign(c);
        return;
    }
    if (!m_sjis) {
        AppendEuc(c, m_out);
        return;
    }
    if (c.set == MbSet::Kana) {
        m_out += static_cast<char>(c.b1 | 0x80);
        return;
    }
    uint8_t s1 = 0;
    uint8_t s2 = 0;
    JisToSjis(c.b1, c.b2, s1, s2);
    m_out += static_cast<char>(s1);
    m_out += static_cast<char>(s2);
}

void LegacyWriter::WriteForeign(const MbChar &c)
{
    std::string euc;
    const char *name = AppendEuc(c, euc);
    if (!name || !m_tables.Convert(name, m_targetName, euc.data(), euc.size(), m_out))
        m_out += '?';
}
