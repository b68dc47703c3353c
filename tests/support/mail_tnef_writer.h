// Builders of TNEF streams and MAPI property lists for tests, written as a
// sender writes them: little-endian, values padded to four bytes, counts
// before variable-size values, a correct checksum after every attribute.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

inline std::string TnefLe(uint32_t value, int size)
{
    std::string out;
    for (int i = 0; i < size; ++i)
        out += char((value >> (8 * i)) & 0xFF);
    return out;
}

inline std::string TnefPadded(std::string bytes)
{
    bytes.resize((bytes.size() + 3) / 4 * 4, '\0');
    return bytes;
}

// The interface id of an embedded message as stored.
inline std::string TnefMessageIid()
{
    return std::string("\x07\x03\x02\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46", 16);
}

inline std::string TnefUtf16(const std::u16string &text)
{
    std::string out;
    for (char16_t unit : text)
        out += TnefLe(unit, 2);
    return out + TnefLe(0, 2);
}

class MapiPropsWriter
{
public:
    enum : uint16_t { kLong = 3, kObject = 0xD, kString8 = 0x1E, kBinary = 0x102 };
    using Self = MapiPropsWriter;

    Self &String8(uint16_t id, const std::string &s) { return Single(kString8, id, s + '\0'); }
    Self &Unicode(uint16_t id, const std::u16string &u) { return Single(0x1F, id, TnefUtf16(u)); }
    Self &Binary(uint16_t id, const std::string &bytes) { return Single(kBinary, id, bytes); }
    Self &Long(uint16_t id, uint32_t value) { return Fixed(kLong, id, TnefLe(value, 4)); }
    Self &Object(uint16_t id, const std::string &iid, const std::string &b) { return Single(kObject, id, iid + b); }
    // Any fixed-size type: the bytes as they are, padded to 4.
    Self &Fixed(uint16_t type, uint16_t id, const std::string &b) { return Tag(type, id, TnefPadded(b)); }
    Self &MultiString8(uint16_t id, const std::vector<std::string> &texts)
    {
        Tag(kString8 | 0x1000, id, TnefLe(uint32_t(texts.size()), 4));
        for (const std::string &text : texts)
            Variable(text + '\0');
        return *this;
    }
    Self &MultiFixed(uint16_t type, uint16_t id, const std::vector<std::string> &values)
    {
        Tag(type | 0x1000, id, TnefLe(uint32_t(values.size()), 4));
        for (const std::string &value : values)
            m_body += TnefPadded(value);
        return *this;
    }
    // Named properties (id 0x8000 and up) with a numeric or a string name and a PT_STRING8 value.
    Self &NamedById(uint16_t id, uint32_t nameId, const std::string &text)
    {
        return Tag(kString8, id, std::string(16, '\x11') + TnefLe(0, 4) + TnefLe(nameId, 4))
            .Value(text + '\0');
    }
    Self &NamedByString(uint16_t id, const std::u16string &name, const std::string &text)
    {
        Tag(kString8, id, std::string(16, '\x22') + TnefLe(1, 4));
        Variable(TnefUtf16(name));
        return Value(text + '\0');
    }
    // Raw bytes after the properties so far (counted as one more property when countIt).
    Self &Raw(const std::string &bytes, bool countIt)
    {
        m_body += bytes;
        m_count += countIt;
        return *this;
    }
    std::string bytes() const { return TnefLe(m_count, 4) + m_body; }

private:
    Self &Tag(uint16_t type, uint16_t id, const std::string &after)
    {
        m_body += TnefLe(type, 2) + TnefLe(id, 2) + after;
        ++m_count;
        return *this;
    }
    void Variable(const std::string &b) { m_body += TnefLe(uint32_t(b.size()), 4) + TnefPadded(b); }
    Self &Value(const std::string &bytes) // a count of one, then the value
    {
        m_body += TnefLe(1, 4);
        Variable(bytes);
        return *this;
    }
    Self &Single(uint16_t type, uint16_t id, const std::string &b) { return Tag(type, id, "").Value(b); }

    uint32_t m_count = 0;
    std::string m_body;
};

class TnefWriter
{
public:
    TnefWriter() : m_bytes(TnefLe(0x223E9F78, 4) + TnefLe(1, 2)) {} // signature and key

    TnefWriter &Attribute(uint8_t level, uint32_t id, const std::string &data)
    {
        return LyingAttribute(level, id, uint32_t(data.size()), data);
    }
    // A record whose length field may lie (data as given, length as told).
    TnefWriter &LyingAttribute(uint8_t level, uint32_t id, uint32_t length, const std::string &data)
    {
        uint16_t sum = 0;
        for (unsigned char c : data)
            sum = uint16_t(sum + c);
        return Raw(char(level) + TnefLe(id, 4) + TnefLe(length, 4) + data + TnefLe(sum, 2));
    }
    TnefWriter &Raw(const std::string &bytes) { return m_bytes += bytes, *this; }
    // attTnefVersion, attMessageClass, attSubject and attMAPIProps, as mail clients write first.
    TnefWriter &MessageHeader(const std::string &subject)
    {
        Attribute(1, 0x00089006, TnefLe(0x00010000, 4));
        Attribute(1, 0x00078008, std::string("IPM.Note") + '\0');
        Attribute(1, 0x00018004, subject + '\0');
        return Attribute(1, 0x00069003,
                         MapiPropsWriter().String8(0x0037, subject).Long(0x0E07, 0x11).bytes());
    }
    // Rendering record, title and data (when given) and the property list.
    TnefWriter &Attachment(const std::string &title, const std::string *data,
                           const MapiPropsWriter &props)
    {
        Attribute(2, 0x00069002, TnefLe(1, 2) + TnefLe(0xFFFFFFFF, 4) + std::string(8, '\0'));
        if (!title.empty())
            Attribute(2, 0x00018010, title + '\0');
        if (data)
            Attribute(2, 0x0006800F, *data);
        return Attribute(2, 0x00069005, props.bytes());
    }
    TnefWriter &File(const std::string &name, const std::string &data)
    {
        return Attachment(
            name, &data,
            MapiPropsWriter().Long(0x0E20, uint32_t(data.size())).String8(0x3707, name));
    }
    const std::string &bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};
