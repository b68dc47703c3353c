// TNEF stream and MAPI property list builders for tests.
#include "support/mail_tnef_writer.h"

#include <cstdio>

namespace {

constexpr uint16_t kString8 = 0x001E;
constexpr uint16_t kUnicode = 0x001F;
constexpr uint16_t kBinary = 0x0102;
constexpr uint16_t kObject = 0x000D;
constexpr uint16_t kLong = 0x0003;
constexpr uint16_t kMulti = 0x1000;

void Put16(std::string &out, uint16_t value)
{
    out += char(value & 0xFF);
    out += char(value >> 8);
}

void Put32(std::string &out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out += char((value >> shift) & 0xFF);
}

void Pad(std::string &out)
{
    while (out.size() % 4)
        out += '\0';
}

std::string PaddedCopy(const std::string &bytes)
{
    std::string out = bytes;
    while (out.size() % 4)
        out += '\0';
    return out;
}

} // namespace

std::string TnefMessageIid()
{
    // {00020307-0000-0000-C000-000000000046} as stored.
    static const unsigned char iid[16] = {0x07, 0x03, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
                                          0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46};
    return std::string(reinterpret_cast<const char *>(iid), sizeof iid);
}

std::string TnefUtf16(const std::u16string &text)
{
    std::string out;
    for (char16_t unit : text)
        Put16(out, uint16_t(unit));
    Put16(out, 0);
    return out;
}

void MapiPropsWriter::Tag(uint16_t type, uint16_t id)
{
    Put16(m_body, type);
    Put16(m_body, id);
    ++m_count;
}

void MapiPropsWriter::Variable(const std::string &bytes)
{
    Put32(m_body, uint32_t(bytes.size()));
    m_body += PaddedCopy(bytes);
}

MapiPropsWriter &MapiPropsWriter::String8(uint16_t id, const std::string &text)
{
    Tag(kString8, id);
    Put32(m_body, 1);
    Variable(text + '\0');
    return *this;
}

MapiPropsWriter &MapiPropsWriter::Unicode(uint16_t id, const std::u16string &text)
{
    Tag(kUnicode, id);
    Put32(m_body, 1);
    Variable(TnefUtf16(text));
    return *this;
}

MapiPropsWriter &MapiPropsWriter::Binary(uint16_t id, const std::string &bytes)
{
    Tag(kBinary, id);
    Put32(m_body, 1);
    Variable(bytes);
    return *this;
}

MapiPropsWriter &MapiPropsWriter::Object(uint16_t id, const std::string &iid,
                                         const std::string &bytes)
{
    Tag(kObject, id);
    Put32(m_body, 1);
    Variable(iid + bytes);
    return *this;
}

MapiPropsWriter &MapiPropsWriter::Long(uint16_t id, uint32_t value)
{
    Tag(kLong, id);
    Put32(m_body, value);
    return *this;
}

MapiPropsWriter &MapiPropsWriter::Fixed(uint16_t type, uint16_t id, const std::string &bytes)
{
    Tag(type, id);
    m_body += PaddedCopy(bytes);
    return *this;
}

MapiPropsWriter &MapiPropsWriter::MultiString8(uint16_t id, const std::vector<std::string> &texts)
{
    Tag(kString8 | kMulti, id);
    Put32(m_body, uint32_t(texts.size()));
    for (const std::string &text : texts)
        Variable(text + '\0');
    return *this;
}

MapiPropsWriter &MapiPropsWriter::MultiFixed(uint16_t type, uint16_t id,
                                             const std::vector<std::string> &values)
{
    Tag(type | kMulti, id);
    Put32(m_body, uint32_t(values.size()));
    for (const std::string &value : values)
        m_body += PaddedCopy(value);
    return *this;
}

MapiPropsWriter &MapiPropsWriter::NamedById(uint16_t id, uint32_t nameId, const std::string &text)
{
    Tag(kString8, id);
    m_body += std::string(16, '\x11');   // GUID
    Put32(m_body, 0);
    Put32(m_body, nameId);
    Put32(m_body, 1);
    Variable(text + '\0');
    return *this;
}

MapiPropsWriter &MapiPropsWriter::NamedByString(uint16_t id, const std::u16string &name,
                                                const std::string &text)
{
    Tag(kString8, id);
    m_body += std::string(16, '\x22');   // GUID
    Put32(m_body, 1);
    std::string utf16 = TnefUtf16(name);
    Put32(m_body, uint32_t(utf16.size()));
    m_body += utf16;
    Pad(m_body);
    Put32(m_body, 1);
    Variable(text + '\0');
    return *this;
}

MapiPropsWriter &MapiPropsWriter::Raw(const std::string &bytes, bool countIt)
{
    m_body += bytes;
    if (countIt)
        ++m_count;
    return *this;
}

std::string MapiPropsWriter::bytes() const
{
    std::string out;
    Put32(out, m_count);
    return out + m_body;
}

TnefWriter::TnefWriter()
{
    Put32(m_bytes, 0x223E9F78);
    Put16(m_bytes, 0x0001);
}

TnefWriter &TnefWriter::Attribute(uint8_t level, uint32_t id, const std::string &data)
{
    return LyingAttribute(level, id, uint32_t(data.size()), data);
}

TnefWriter &TnefWriter::LyingAttribute(uint8_t level, uint32_t id, uint32_t length,
                                       const std::string &data)
{
    m_bytes += char(level);
    Put32(m_bytes, id);
    Put32(m_bytes, length);
    m_bytes += data;
    uint16_t sum = 0;
    for (unsigned char c : data)
        sum = uint16_t(sum + c);
    Put16(m_bytes, sum);
    return *this;
}

TnefWriter &TnefWriter::Raw(const std::string &bytes)
{
    m_bytes += bytes;
    return *this;
}

TnefWriter &TnefWriter::MessageHeader(const std::string &subject)
{
    std::string version;
    Put32(version, 0x00010000);
    Attribute(1, 0x00089006, version);                       // attTnefVersion
    Attribute(1, 0x00078008, std::string("IPM.Note") + '\0');   // attMessageClass
    Attribute(1, 0x00018004, subject + '\0');                // attSubject
    MapiPropsWriter message;
    message.String8(0x0037, subject).Long(0x0E07, 0x11);
    return Attribute(1, 0x00069003, message.bytes());       // attMAPIProps
}

TnefWriter &TnefWriter::Attachment(const std::string &title, const std::string *data,
                                   const MapiPropsWriter &props)
{
    std::string rendering;
    Put16(rendering, 1);      // attachment type: file
    Put32(rendering, 0xFFFFFFFF);
    Put32(rendering, 0);
    Put32(rendering, 0);
    Attribute(2, 0x00069002, rendering);                     // attAttachRenddata
    if (!title.empty())
        Attribute(2, 0x00018010, title + '\0');              // attAttachTitle
    if (data)
        Attribute(2, 0x0006800F, *data);                     // attAttachData
    return Attribute(2, 0x00069005, props.bytes());          // attAttachment
}

TnefWriter &TnefWriter::File(const std::string &name, const std::string &data)
{
    MapiPropsWriter props;
    props.Long(0x0E20, uint32_t(data.size())).String8(0x3707, name);
    return Attachment(name, &data, props);
}

bool WriteTestFile(const std::string &path, const std::string &bytes)
{
    FILE *file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && ok;
}
