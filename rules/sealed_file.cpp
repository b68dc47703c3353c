// Sealing and unsealing of the vendor's rule files (see sealed_file.h).
#include "rules/sealed_file.h"

#include <array>
#include <cctype>
#include <climits>
#include <cstdio>

#include "rules/file_handle.h"

namespace {

const char kSealKey[] = "qirvanot";
constexpr int kSealKeyLength = 8;

using CrcTable = std::array<unsigned long, 256>;

CrcTable make_crc_table()
{
    CrcTable table{};
    for (unsigned long n = 0; n < 256; ++n) {
        unsigned long c = n;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? 0xEDB88320UL ^ (c >> 1) : c >> 1;
        table[n] = c;
    }
    return table;
}

const CrcTable &crc_table()
{
    static const CrcTable table = make_crc_table();
    return table;
}

// Reads the header as fscanf(file, "%u\n", &value) does: leading white space,
// an optional sign, decimal digits (strtoul's saturation, then the low 32
// bits), then every white-space byte that follows. False when no digit comes.
bool read_seal_header(FILE *file, unsigned int &value)
{
    int c = std::fgetc(file);
    while (c != EOF && std::isspace(c))
        c = std::fgetc(file);
    bool negative = false;
    if (c == '+' || c == '-') {
        negative = c == '-';
        c = std::fgetc(file);
    }
    if (c == EOF || !std::isdigit(c))
        return false;
    unsigned long number = 0;
    bool overflow = false;
    for (; c != EOF && std::isdigit(c); c = std::fgetc(file)) {
        unsigned long digit = static_cast<unsigned long>(c - '0');
        if (number > (ULONG_MAX - digit) / 10)
            overflow = true;
        else
            number = number * 10 + digit;
    }
    if (overflow)
        number = ULONG_MAX;
    else if (negative)
        number = 0UL - number;
    while (c != EOF && std::isspace(c))
        c = std::fgetc(file);
    if (c != EOF)
        std::ungetc(c, file);
    value = static_cast<unsigned int>(number);
    return true;
}

// Runs `step` over successive blocks of up to kSealBlockSize bytes of `in`,
// giving each block's offset from where reading started.
template <typename Step>
bool for_each_block(FILE *in, Step step)
{
    unsigned char block[kSealBlockSize];
    long position = 0;
    size_t got;
    while ((got = std::fread(block, 1, sizeof block, in)) > 0) {
        if (!step(block, position, static_cast<int>(got)))
            return false;
        position += static_cast<long>(got);
    }
    return !std::ferror(in);
}

} // namespace

unsigned long UPDC32(int byte, unsigned long crc)
{
    return crc_table()[(crc ^ static_cast<unsigned long>(byte)) & 0xFF] ^ (crc >> 8);
}

unsigned long CalculateCRC(const unsigned char *buffer, unsigned long crc, int length)
{
    for (int i = 0; i < length; ++i)
        crc = UPDC32(buffer[i], crc);
    return crc;
}

void ScrambleSealedBytes(unsigned char *buffer, long position, int length)
{
    for (int i = 0; i < length; ++i) {
        long n = position + i;
        buffer[i] ^= static_cast<unsigned char>(kSealKey[(n % kSealBlockSize) % kSealKeyLength]);
    }
}

int EncrptFileWithCRC(const char *plainPath, const char *sealedPath)
{
    RuleFilePtr plain = OpenRuleFile(plainPath, "rb");
    if (!plain)
        return -1;
    RuleFilePtr sealed = OpenRuleFile(sealedPath, "wb");
    if (!sealed)
        return -1;

    unsigned long crc = 0;
    for_each_block(plain.get(), [&crc](unsigned char *block, long position, int length) {
        ScrambleSealedBytes(block, position, length);
        crc = CalculateCRC(block, crc, length);
        return true;
    });

    std::rewind(plain.get());
    std::fprintf(sealed.get(), "%u\n", static_cast<unsigned int>(crc));
    FILE *out = sealed.get();
    for_each_block(plain.get(), [out](unsigned char *block, long position, int length) {
        ScrambleSealedBytes(block, position, length);
        return std::fwrite(block, 1, static_cast<size_t>(length), out) ==
               static_cast<size_t>(length);
    });
    return static_cast<int>(crc);
}

int DecrptFileWithCRC(const char *sealedPath, const char *plainPath)
{
    RuleFilePtr sealed = OpenRuleFile(sealedPath, "rb");
    if (!sealed)
        return -1;
    unsigned int header = 0;
    if (!read_seal_header(sealed.get(), header))
        return -1;
    long bodyStart = std::ftell(sealed.get());
    if (bodyStart < 0)
        return -1;

    unsigned long crc = 0;
    bool readOk = for_each_block(sealed.get(), [&crc](unsigned char *block, long, int length) {
        crc = CalculateCRC(block, crc, length);
        return true;
    });
    if (!readOk || static_cast<unsigned int>(crc) != header)
        return -1;

    if (std::fseek(sealed.get(), bodyStart, SEEK_SET) != 0)
        return -1;
    RuleFilePtr plain = OpenRuleFile(plainPath, "wb");
    if (!plain)
        return -1;
    FILE *out = plain.get();
    for_each_block(sealed.get(), [out](unsigned char *block, long position, int length) {
        ScrambleSealedBytes(block, position, length);
        return std::fwrite(block, 1, static_cast<size_t>(length), out) ==
               static_cast<size_t>(length);
    });
    return 1;
}
