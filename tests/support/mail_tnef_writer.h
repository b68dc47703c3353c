// Builders of TNEF streams and MAPI property lists for tests, so that every
// decoder test carries its own fixtures.
//
//   MapiPropsWriter props;
//   props.String8(0x3707, "report.pdf").Long(0x0E20, 1234);
//   TnefWriter tnef;
//   tnef.Attachment("REPORT.PDF", "data bytes", props);
//   std::string stream = tnef.bytes();
//
// Values are written as a sender writes them: little-endian, each value
// padded to four bytes, a value count before multi-valued and variable-size
// values, and a correct checksum after every attribute.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// 16 bytes of the interface id of an embedded message.
std::string TnefMessageIid();
// The text as UTF-16LE with a terminating NUL unit.
std::string TnefUtf16(const std::u16string &text);

class MapiPropsWriter {
public:
    MapiPropsWriter &String8(uint16_t id, const std::string &text);          // PT_STRING8, NUL added
    MapiPropsWriter &Unicode(uint16_t id, const std::u16string &text);       // PT_UNICODE
    MapiPropsWriter &Binary(uint16_t id, const std::string &bytes);          // PT_BINARY
    MapiPropsWriter &Object(uint16_t id, const std::string &iid, const std::string &bytes);
    MapiPropsWriter &Long(uint16_t id, uint32_t value);                      // PT_LONG
    // Any fixed-size type: the bytes are written as they are, padded to 4.
    MapiPropsWriter &Fixed(uint16_t type, uint16_t id, const std::string &bytes);
    // Multi-valued: a count, then the values.
    MapiPropsWriter &MultiString8(uint16_t id, const std::vector<std::string> &texts);
    MapiPropsWriter &MultiFixed(uint16_t type, uint16_t id, const std::vector<std::string> &values);
    // A named property (id 0x8000 and up) with a numeric or a string name,
    // carrying a PT_STRING8 value.
    MapiPropsWriter &NamedById(uint16_t id, uint32_t nameId, const std::string &text);
    MapiPropsWriter &NamedByString(uint16_t id, const std::u16string &name, const std::string &text);
    // Raw bytes after the properties written so far (counted as one more
    // property when countIt).
    MapiPropsWriter &Raw(const std::string &bytes, bool countIt);

    // The count followed by the properties.
    std::string bytes() const;

private:
    void Tag(uint16_t type, uint16_t id);
    void Variable(const std::string &bytes);

    uint32_t m_count = 0;
    std::string m_body;
};

class TnefWriter {
public:
    TnefWriter();   // signature and key

    // One attribute record with its checksum.
    TnefWriter &Attribute(uint8_t level, uint32_t id, const std::string &data);
    // A record whose length field lies (data as given, length as told).
    TnefWriter &LyingAttribute(uint8_t level, uint32_t id, uint32_t length, const std::string &data);
    TnefWriter &Raw(const std::string &bytes);

    // The message-level records an ordinary mail client writes first.
    TnefWriter &MessageHeader(const std::string &subject);
    // One attachment: rendering record, title (when not empty), data (when
    // given) and the attAttachment property list.
    TnefWriter &Attachment(const std::string &title, const std::string *data,
                           const MapiPropsWriter &props);
    // The same with a long file name property and data.
    TnefWriter &File(const std::string &name, const std::string &data);

    const std::string &bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};

// Writes bytes to a file; false on failure.
bool WriteTestFile(const std::string &path, const std::string &bytes);
