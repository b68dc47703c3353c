// Line reading with offsets for the MIME walk.
#include "mail/mime_line_reader.h"

#include <cstring>

MimeLineReader::MimeLineReader(FILE *file, size_t blockSize)
    : m_pFile(file), m_block(new char[blockSize ? blockSize : 1]),
      m_nBlockSize(blockSize ? blockSize : 1)
{
    m_szLine[0] = '\0';
}

bool MimeLineReader::Fill()
{
    if (m_bEof)
        return false;
    m_lBlockOffset += static_cast<long>(m_nBlockLen);
    m_nBlockPos = 0;
    m_nBlockLen = std::fread(m_block.get(), 1, m_nBlockSize, m_pFile);
    if (m_nBlockLen == 0)
        m_bEof = true;
    return m_nBlockLen > 0;
}

bool MimeLineReader::Next()
{
    if (m_bPutBack) {
        m_bPutBack = false;
        return true;
    }
    m_lStart = m_lBlockOffset + static_cast<long>(m_nBlockPos);
    int length = 0;
    while (length < kLineSize - 1) {
        if (m_nBlockPos == m_nBlockLen && !Fill())
            break;
        const char *from = m_block.get() + m_nBlockPos;
        size_t available = m_nBlockLen - m_nBlockPos;
        size_t room = static_cast<size_t>(kLineSize - 1 - length);
        size_t take = available < room ? available : room;
        const void *newline = std::memchr(from, '\n', take);
        if (newline)
            take = static_cast<size_t>(static_cast<const char *>(newline) - from) + 1;
        std::memcpy(m_szLine + length, from, take);
        length += static_cast<int>(take);
        m_nBlockPos += take;
        if (newline)
            break;
    }
    m_szLine[length] = '\0';
    m_nLength = length;
    return length > 0;
}
