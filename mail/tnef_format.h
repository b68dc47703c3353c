// The TNEF stream layout as the decoder reads it: the signature, the
// attribute identifiers and types, the MAPI property types and the few
// property tags the decoder looks at, the little-endian readers, and
// AttributeStruct, one attribute record as read.
//
// A stream is: signature (4 bytes), key (2 bytes), then attribute records
// of level (1 byte: 1 message, 2 attachment), identifier (4 bytes, the high
// word its type), length (4 bytes), data, and a 2-byte checksum. All numbers
// are little-endian.
#pragma once

#include <cstdint>

constexpr uint32_t TNEF_SIGNATURE = 0x223E9F78;
constexpr long TNEF_HEADER_SIZE = 6;           // signature and key
constexpr long TNEF_RECORD_OVERHEAD = 11;      // level, id, length, checksum
constexpr int TNEF_MAX_DEPTH = 21;             // nesting limit of streams in streams
constexpr int TNEF_NAME_SIZE = 256;            // name buffer of a record
constexpr char TNEF_DEFAULT_NAME[] = "default.dat";

// Attribute types (the identifier's high word).
enum TnefAttributeType : uint16_t {
    atpTriples = 0x0000,
    atpString = 0x0001,
    atpText = 0x0002,
    atpDate = 0x0003,
    atpShort = 0x0004,
    atpLong = 0x0005,
    atpByte = 0x0006,
    atpWord = 0x0007,
    atpDword = 0x0008,
    atpMax = 0x0009,
};

constexpr uint32_t TnefAtt(uint16_t type, uint16_t id) { return (uint32_t(type) << 16) | id; }

// Attribute identifiers.
enum TnefAttributeId : uint32_t {
    attNull = TnefAtt(0, 0x0000),
    attFrom = TnefAtt(atpTriples, 0x8000),
    attSubject = TnefAtt(atpString, 0x8004),
    attDateSent = TnefAtt(atpDate, 0x8005),
    attDateRecd = TnefAtt(atpDate, 0x8006),
    attMessageStatus = TnefAtt(atpByte, 0x8007),
    attMessageClass = TnefAtt(atpWord, 0x8008),
    attMessageID = TnefAtt(atpString, 0x8009),
    attParentID = TnefAtt(atpString, 0x800A),
    attConversationID = TnefAtt(atpString, 0x800B),
    attBody = TnefAtt(atpText, 0x800C),
    attPriority = TnefAtt(atpShort, 0x800D),
    attAttachData = TnefAtt(atpByte, 0x800F),
    attAttachTitle = TnefAtt(atpString, 0x8010),
    attAttachMetaFile = TnefAtt(atpByte, 0x8011),
    attAttachCreateDate = TnefAtt(atpDate, 0x8012),
    attAttachModifyDate = TnefAtt(atpDate, 0x8013),
    attDateModified = TnefAtt(atpDate, 0x8020),
    attAttachTransportFilename = TnefAtt(atpByte, 0x9001),
    attAttachRenddata = TnefAtt(atpByte, 0x9002),
    attMAPIProps = TnefAtt(atpByte, 0x9003),
    attRecipTable = TnefAtt(atpByte, 0x9004),
    attAttachment = TnefAtt(atpByte, 0x9005),
    attTnefVersion = TnefAtt(atpDword, 0x9006),
    attOemCodepage = TnefAtt(atpByte, 0x9007),
    attOriginalMessageClass = TnefAtt(atpWord, 0x0006),
    attOwner = TnefAtt(atpByte, 0x0000),
    attSentFor = TnefAtt(atpByte, 0x0001),
    attDelegate = TnefAtt(atpByte, 0x0002),
    attDateStart = TnefAtt(atpDate, 0x0006),
    attDateEnd = TnefAtt(atpDate, 0x0007),
    attAidOwner = TnefAtt(atpLong, 0x0008),
    attRequestRes = TnefAtt(atpShort, 0x0009),
};

// MAPI property types inside attMAPIProps and attAttachment.
enum MapiPropType : uint16_t {
    PT_UNSPECIFIED = 0x0000,
    PT_NULL = 0x0001,
    PT_I2 = 0x0002,
    PT_LONG = 0x0003,
    PT_R4 = 0x0004,
    PT_DOUBLE = 0x0005,
    PT_CURRENCY = 0x0006,
    PT_APPTIME = 0x0007,
    PT_ERROR = 0x000A,
    PT_BOOLEAN = 0x000B,
    PT_OBJECT = 0x000D,
    PT_I8 = 0x0014,
    PT_STRING8 = 0x001E,
    PT_UNICODE = 0x001F,
    PT_SYSTIME = 0x0040,
    PT_CLSID = 0x0048,
    PT_BINARY = 0x0102,
};
constexpr uint16_t MV_FLAG = 0x1000;        // multi-valued
constexpr uint16_t MAPI_NAMED_FIRST = 0x8000;   // ids from here carry a name

// Property ids the decoder uses.
constexpr uint16_t PROP_DISPLAY_NAME = 0x3001;
constexpr uint16_t PROP_ATTACH_DATA = 0x3701;   // _BIN or _OBJ by type
constexpr uint16_t PROP_ATTACH_FILENAME = 0x3704;
constexpr uint16_t PROP_ATTACH_LONG_FILENAME = 0x3707;

// Little-endian reads from a byte buffer.
inline uint32_t Read32(const unsigned char *p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint16_t Read16(const unsigned char *p)
{
    return uint16_t(p[0] | p[1] << 8);
}

// How a record was read.
enum TnefRecordStatus : int {
    TNEF_RECORD_OK = 0,
    TNEF_RECORD_TRUNCATED = 1,   // the stream ended inside it: not processed
};

// One attribute record as read; passed and returned by value.
struct AttributeStruct {
    uint8_t m_nLevel = 0;
    uint32_t m_nId = attNull;
    uint32_t m_nLength = 0;
    long m_lOffset = 0;            // stream offset of the data
    uint16_t m_nChecksum = 0;
    char m_szName[TNEF_NAME_SIZE] = "default.dat";
    int m_nStatus = TNEF_RECORD_OK;
    // An attachment's data found among its properties (PR_ATTACH_DATA_BIN,
    // or an OLE object's bytes after its interface id); -1 when none.
    long m_lPropData = -1;
    uint32_t m_nPropDataLength = 0;
};
