// MimeLineReader: the MIME walk's line source. It hands out the message
// file line by line as fgets with a 4096-byte buffer would (a longer line
// comes as pieces of 4095 bytes), knows the file offset of every line, and
// can put the current line back so that the next read returns it again.
//
//   MimeLineReader reader(file);
//   while (reader.Next())
//       use(reader.text(), reader.start(), reader.end());
//
// Reading goes through its own block buffer, so offsets cost nothing and a
// put-back never seeks. A NUL byte inside a line ends the line's text for
// the string functions; the offsets still count every byte.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

class MimeLineReader {
public:
    static constexpr int kLineSize = 4096;

    // blockSize: bytes asked of the file per read (tests use 1).
    explicit MimeLineReader(FILE *file, size_t blockSize = 65536);

    // The next line, through its LF or 4095 bytes long; false at the end.
    bool Next();
    // The next line becomes the current one again.
    void PutBack() { m_bPutBack = m_nLength > 0; }

    char *text() { return m_szLine; }   // NUL-terminated, may be changed
    int length() const { return m_nLength; }
    long start() const { return m_lStart; }            // offset of the line
    long end() const { return m_lStart + m_nLength; }  // offset after it

private:
    bool Fill();

    FILE *m_pFile;
    std::unique_ptr<char[]> m_block;   // not cleared: a small mail costs no 64 KB memset
    size_t m_nBlockSize;
    size_t m_nBlockPos = 0;
    size_t m_nBlockLen = 0;
    long m_lBlockOffset = 0;   // file offset of m_block[0]
    char m_szLine[kLineSize];
    int m_nLength = 0;
    long m_lStart = 0;
    bool m_bPutBack = false;
    bool m_bEof = false;
};
