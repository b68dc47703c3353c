// Bounded reads over a window of a TNEF file.
#include "mail/tnef_input.h"

#include "mail/tnef_format.h"

TnefInput::TnefInput(FILE *file, long pos, long end) : m_pFile(file), m_lPos(pos), m_lEnd(end)
{
}

bool TnefInput::Sync()
{
    if (!m_bSynced)
        m_bSynced = std::fseek(m_pFile, m_lPos, SEEK_SET) == 0;
    return m_bSynced;
}

bool TnefInput::Take(void *out, long n)
{
    if (n < 0 || n > left() || !Sync())
        return false;
    if (std::fread(out, 1, static_cast<size_t>(n), m_pFile) != static_cast<size_t>(n)) {
        m_bSynced = false;
        return false;
    }
    m_lPos += n;
    return true;
}

bool TnefInput::TakeU32(uint32_t *value)
{
    unsigned char bytes[4];
    if (!Take(bytes, 4))
        return false;
    *value = Read32(bytes);
    return true;
}

bool TnefInput::TakeU16(uint16_t *value)
{
    unsigned char bytes[2];
    if (!Take(bytes, 2))
        return false;
    *value = Read16(bytes);
    return true;
}

bool TnefInput::TakePrefix(long n, long max, std::string *out)
{
    if (n < 0 || n > left())
        return false;
    long keep = n < max ? n : max;
    char buffer[512];
    long done = 0;
    while (done < keep) {
        long piece = keep - done < long(sizeof buffer) ? keep - done : long(sizeof buffer);
        if (!Take(buffer, piece))
            return false;
        out->append(buffer, static_cast<size_t>(piece));
        done += piece;
    }
    return Skip(n - keep);
}

bool TnefInput::Skip(long n)
{
    if (n < 0 || n > left())
        return false;
    if (n > 0) {
        m_lPos += n;
        m_bSynced = false;
    }
    return true;
}

bool TnefInput::Seek(long pos)
{
    if (pos < 0 || pos > m_lEnd)
        return false;
    // Always seek again: others may have moved the file meanwhile.
    m_lPos = pos;
    m_bSynced = false;
    return true;
}
