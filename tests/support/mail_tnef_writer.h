// Builders of TNEF streams and MAPI property lists for tests, so that every
// decoder test carries its own fixtures.
//
//   MapiPropsWriter props;
//   props.String8(0x3707, "report.pdf").Long(0x0E20, 1234);
//   TnefWriter tnef;
//   tnef.Attachment("REPORT.PDF", &data, props);
//   std::string stream = tnef.bytes();
//
// Values are written as a sender writes them: little-endian, each value
// padded to four bytes, a value count before multi-valued and variable-size
// values, and a correct checksum after every attribute.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Little-endian integer of `size` bytes.
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

// 16 bytes of the interface id of an embedded message,
// {00020307-0000-0000-C000-000000000046} as stored.
inline std::string TnefMessageIid()
{
    return std::string("\x07\x03\x02\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46", 16);
}

// The text as UTF-16LE with a terminating NUL unit.
inline std::string TnefUtf16(const std::u16string &text)
{
    std::string out;
    for (char16_t unit : text)
        out += TnefLe(unit, 2);
    return out + TnefLe(0, 2);
}

class MapiPropsWriter {
public:
    enum : uint16_t {
        kLong = 0x0003,
        kObject = 0x000D,
        kString8 = 0x001E,
        kUnicode = 0x001F,
        kBinary = 0x0102,
        kMulti = 0x1000
    };

    MapiPropsWriter &String8(uint16_t id, const std::string &text)
    {
        return Single(kString8, id, text + '\0');
    }
    MapiPropsWriter &Unicode(uint16_t id, const std::u16string &text)
    {
        return Single(kUnicode, id, TnefUtf16(text));
    }
    MapiPropsWriter &Binary(uint16_t id, const std::string &bytes)
    {
        return Single(kBinary, id, bytes);
    }
    MapiPropsWriter &Object(uint16_t id, const std::string &iid, const std::string &bytes)
    {
        return Single(kObject, id, iid + bytes);
    }
    MapiPropsWriter &Long(uint16_t id, uint32_t value)
    {
        return Fixed(kLong, id, TnefLe(value, 4));
    }
    // Any fixed-size type: the bytes are written as they are, padded to 4.
    MapiPropsWriter &Fixed(uint16_t type, uint16_t id, const std::string &bytes)
    {
        Tag(type, id);
        m_body += TnefPadded(bytes);
        return *this;
    }
    // Multi-valued: a count, then the values.
    MapiPropsWriter &MultiString8(uint16_t id, const std::vector<std::string> &texts)
    {
        Tag(kString8 | kMulti, id);
        m_body += TnefLe(uint32_t(texts.size()), 4);
        for (const std::string &text : texts)
            Variable(text + '\0');
        return *this;
    }
    MapiPropsWriter &MultiFixed(uint16_t type, uint16_t id, const std::vector<std::string> &values)
    {
        Tag(type | kMulti, id);
        m_body += TnefLe(uint32_t(values.size()), 4);
        for (const std::string &value : values)
            m_body += TnefPadded(value);
        return *this;
    }
    // A named property (id 0x8000 and up) with a numeric or a string name,
    // carrying a PT_STRING8 value.
    MapiPropsWriter &NamedById(uint16_t id, uint32_t nameId, const std::string &text)
    {
        Tag(kString8, id);
        m_body += std::string(16, '\x11') + TnefLe(0, 4) + TnefLe(nameId, 4); // GUID, kind, id
        return Value(text + '\0');
    }
    MapiPropsWriter &NamedByString(uint16_t id, const std::u16string &name, const std::string &text)
    {
        Tag(kString8, id);
        m_body += std::string(16, '\x22') + TnefLe(1, 4); // GUID, kind
        Variable(TnefUtf16(name));
        return Value(text + '\0');
    }
    // Raw bytes after the properties written so far (counted as one more
    // property when countIt).
    MapiPropsWriter &Raw(const std::string &bytes, bool countIt)
    {
        m_body += bytes;
        m_count += countIt;
        return *this;
    }

    // The count followed by the properties.
    std::string bytes() const { return TnefLe(m_count, 4) + m_body; }

private:
    void Tag(uint16_t type, uint16_t id)
    {
        m_body += TnefLe(type, 2) + TnefLe(id, 2);
        ++m_count;
    }
    void Variable(const std::string &bytes)
    {
        m_body += TnefLe(uint32_t(bytes.size()), 4) + TnefPadded(bytes);
    }
    // A count of one, then the variable-size value.
    MapiPropsWriter &Value(const std::string &bytes)
    {
        m_body += TnefLe(1, 4);
        Variable(bytes);
        return *this;
    }
    MapiPropsWriter &Single(uint16_t type, uint16_t id, const std::string &bytes)
    {
        Tag(type, id);
        return Value(bytes);
    }

    uint32_t m_count = 0;
    std::string m_body;
};

class TnefWriter {
public:
    TnefWriter() : m_bytes(TnefLe(0x223E9F78, 4) + TnefLe(1, 2)) {} // signature and key

    // One attribute record with its checksum.
    TnefWriter &Attribute(uint8_t level, uint32_t id, const std::string &data)
    {
        return LyingAttribute(level, id, uint32_t(data.size()), data);
    }
    // A record whose length field lies (data as given, length as told).
    TnefWriter &LyingAttribute(uint8_t level, uint32_t id, uint32_t length, const std::string &data)
    {
        uint16_t sum = 0;
        for (unsigned char c : data)
            sum = uint16_t(sum + c);
        m_bytes += char(level) + TnefLe(id, 4) + TnefLe(length, 4) + data + TnefLe(sum, 2);
        return *this;
    }
    TnefWriter &Raw(const std::string &bytes)
    {
        m_bytes += bytes;
        return *this;
    }

    // The message-level records an ordinary mail client writes first:
    // attTnefVersion, attMessageClass, attSubject, attMAPIProps.
    TnefWriter &MessageHeader(const std::string &subject)
    {
        Attribute(1, 0x00089006, TnefLe(0x00010000, 4));
        Attribute(1, 0x00078008, std::string("IPM.Note") + '\0');
        Attribute(1, 0x00018004, subject + '\0');
        MapiPropsWriter message;
        return Attribute(1, 0x00069003,
                         message.String8(0x0037, subject).Long(0x0E07, 0x11).bytes());
    }
    // One attachment: rendering record (a file), title (when not empty),
    // data (when given) and the attAttachment property list.
    TnefWriter &Attachment(const std::string &title, const std::string *data,
                           const MapiPropsWriter &props)
    {
        Attribute(2, 0x00069002,
                  TnefLe(1, 2) + TnefLe(0xFFFFFFFF, 4) + TnefLe(0, 4) + TnefLe(0, 4));
        if (!title.empty())
            Attribute(2, 0x00018010, title + '\0');
        if (data)
            Attribute(2, 0x0006800F, *data);
        return Attribute(2, 0x00069005, props.bytes());
    }
    // The same with a long file name property and data.
    TnefWriter &File(const std::string &name, const std::string &data)
    {
        MapiPropsWriter props;
        return Attachment(name, &data,
                          props.Long(0x0E20, uint32_t(data.size())).String8(0x3707, name));
    }

    const std::string &bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};
