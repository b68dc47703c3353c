// uuencode (or XXencode) for the tests of the decoders that read it: one line
// of at most 45 bytes, or a whole block of lines ending in "`" and "end".
#pragma once

#include <string>

inline std::string UuLine(const std::string &bytes, bool xx = false)
{
    static const char kXX[] = "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    auto ch = [xx](int v) { return xx ? kXX[v & 63] : static_cast<char>(v ? 32 + v : '`'); };
    std::string line(1, ch(static_cast<int>(bytes.size())));
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned char b[3] = {0, 0, 0};
        for (size_t k = 0; k < 3 && i + k < bytes.size(); ++k)
            b[k] = static_cast<unsigned char>(bytes[i + k]);
        line += ch(b[0] >> 2);
        line += ch((b[0] & 3) << 4 | b[1] >> 4);
        line += ch((b[1] & 15) << 2 | b[2] >> 6);
        line += ch(b[2] & 63);
    }
    return line;
}

inline std::string UuBlock(const std::string &bytes)
{
    std::string out;
    for (size_t at = 0; at < bytes.size(); at += 45)
        out += UuLine(bytes.substr(at, 45)) + "\n";
    return out + "`\nend\n";
}
