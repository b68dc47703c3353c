// Name tables of TNEF attributes and MAPI types, and the one-line record
// dump built from them.
#include "mail/tnef_names.h"

#include <cstdio>

const TnefAttributeName AttributeString[] = {
    {attNull, "attNull"},
    {attFrom, "attFrom"},
    {attSubject, "attSubject"},
    {attDateSent, "attDateSent"},
    {attDateRecd, "attDateRecd"},
    {attMessageStatus, "attMessageStatus"},
    {attMessageClass, "attMessageClass"},
    {attMessageID, "attMessageID"},
    {attParentID, "attParentID"},
    {attConversationID, "attConversationID"},
    {attBody, "attBody"},
    {attPriority, "attPriority"},
    {attAttachData, "attAttachData"},
    {attAttachTitle, "attAttachTitle"},
    {attAttachMetaFile, "attAttachMetaFile"},
    {attAttachCreateDate, "attAttachCreateDate"},
    {attAttachModifyDate, "attAttachModifyDate"},
    {attDateModified, "attDateModified"},
    {attAttachTransportFilename, "attAttachTransportFilename"},
    {attAttachRenddata, "attAttachRenddata"},
    {attMAPIProps, "attMAPIProps"},
    {attRecipTable, "attRecipTable"},
    {attAttachment, "attAttachment"},
    {attTnefVersion, "attTnefVersion"},
    {attOemCodepage, "attOemCodepage"},
    {attOriginalMessageClass, "attOriginalMessageClass"},
    {attOwner, "attOwner"},
    {attSentFor, "attSentFor"},
    {attDelegate, "attDelegate"},
    {attDateStart, "attDateStart"},
    {attDateEnd, "attDateEnd"},
    {attAidOwner, "attAidOwner"},
    {attRequestRes, "attRequestRes"},
};
const size_t AttributeStringCount = sizeof AttributeString / sizeof AttributeString[0];

const char *const TypeString[] = {
    "atpTriples", "atpString", "atpText", "atpDate", "atpShort",
    "atpLong",    "atpByte",   "atpWord", "atpDword", "atpMax",
};
const size_t TypeStringCount = sizeof TypeString / sizeof TypeString[0];

const char *const priority_string[3] = {"(Low)", "(Normal)", "(High)"};

const char *const DateString[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                   "Thursday", "Friday", "Saturday"};

namespace {

struct PropTypeName {
    uint16_t type;
    const char *name;
};

const PropTypeName kPropTypes[] = {
    {PT_UNSPECIFIED, "PT_UNSPECIFIED"}, {PT_NULL, "PT_NULL"},
    {PT_I2, "PT_I2"},                   {PT_LONG, "PT_LONG"},
    {PT_R4, "PT_R4"},                   {PT_DOUBLE, "PT_DOUBLE"},
    {PT_CURRENCY, "PT_CURRENCY"},       {PT_APPTIME, "PT_APPTIME"},
    {PT_ERROR, "PT_ERROR"},             {PT_BOOLEAN, "PT_BOOLEAN"},
    {PT_OBJECT, "PT_OBJECT"},           {PT_I8, "PT_I8"},
    {PT_STRING8, "PT_STRING8"},         {PT_UNICODE, "PT_UNICODE"},
    {PT_SYSTIME, "PT_SYSTIME"},         {PT_CLSID, "PT_CLSID"},
    {PT_BINARY, "PT_BINARY"},
};

const PropTypeName kMultiPropTypes[] = {
    {PT_I2, "PT_MV_I2"},           {PT_LONG, "PT_MV_LONG"},         {PT_R4, "PT_MV_R4"},
    {PT_DOUBLE, "PT_MV_DOUBLE"},   {PT_CURRENCY, "PT_MV_CURRENCY"}, {PT_APPTIME, "PT_MV_APPTIME"},
    {PT_I8, "PT_MV_I8"},           {PT_STRING8, "PT_MV_STRING8"},   {PT_UNICODE, "PT_MV_UNICODE"},
    {PT_SYSTIME, "PT_MV_SYSTIME"}, {PT_CLSID, "PT_MV_CLSID"},       {PT_BINARY, "PT_MV_BINARY"},
};

// A TNEF date: year, month, day, hour, minute, second, week day, 16 bits each.
std::string DateText(const unsigned char *data, size_t size)
{
    if (!data || size < 14)
        return "";
    unsigned weekday = Read16(data + 12);
    char text[96];
    std::snprintf(text, sizeof text, " %s %04u-%02u-%02u %02u:%02u:%02u",
                  weekday < 7 ? DateString[weekday] : "?", Read16(data), Read16(data + 2),
                  Read16(data + 4), Read16(data + 6), Read16(data + 8), Read16(data + 10));
    return text;
}

// attPriority holds 1 high, 2 normal, 3 low.
std::string PriorityText(const unsigned char *data, size_t size)
{
    if (!data || size < 2)
        return "";
    unsigned value = Read16(data);
    if (value < 1 || value > 3)
        return "";
    return std::string(" ") + priority_string[3 - value];
}

} // namespace

const char *TnefAttributeNameOf(uint32_t id)
{
    for (size_t i = 0; i < AttributeStringCount; ++i)
        if (AttributeString[i].id == id)
            return AttributeString[i].name;
    return nullptr;
}

const char *PropTypeString(uint16_t type)
{
    if (type & MV_FLAG) {
        for (const PropTypeName &entry : kMultiPropTypes)
            if (entry.type == (type & ~MV_FLAG))
                return entry.name;
        return nullptr;
    }
    for (const PropTypeName &entry : kPropTypes)
        if (entry.type == type)
            return entry.name;
    return nullptr;
}

std::string dump_tnef_attribute(const AttributeStruct &record, const unsigned char *data,
                                size_t size)
{
    const char *name = TnefAttributeNameOf(record.m_nId);
    unsigned type = record.m_nId >> 16;
    char text[512];
    char hexName[16];
    if (!name) {
        std::snprintf(hexName, sizeof hexName, "0x%08x", unsigned(record.m_nId));
        name = hexName;
    }
    std::snprintf(text, sizeof text,
                  "%s (%s) level %u, %lu bytes at %ld, checksum 0x%04x, name \"%.255s\"", name,
                  type < TypeStringCount ? TypeString[type] : "?", unsigned(record.m_nLevel),
                  static_cast<unsigned long>(record.m_nLength), record.m_lOffset,
                  unsigned(record.m_nChecksum), record.m_szName);
    std::string line = text;
    if (record.m_nId == attPriority)
        line += PriorityText(data, size);
    else if (type == atpDate)
        line += DateText(data, size);
    return line;
}
