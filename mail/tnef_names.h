// Readable names of TNEF attributes, attribute types and MAPI property
// types, for diagnostic dumps of a stream (dump_tnef_attribute). Nothing in
// the decoding depends on them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "mail/tnef_format.h"

struct TnefAttributeName {
    uint32_t id;
    const char *name;
};

extern const TnefAttributeName AttributeString[];   // "attNull" .. "attRequestRes"
extern const size_t AttributeStringCount;
extern const char *const TypeString[];              // by attribute type, atpTriples..atpMax
extern const size_t TypeStringCount;
extern const char *const priority_string[3];        // "(Low)", "(Normal)", "(High)"
extern const char *const DateString[7];             // week days, Sunday first

// The published name of an attribute identifier, or null.
const char *TnefAttributeNameOf(uint32_t id);
// "PT_BINARY" and the others, with "PT_MV_" for multi-valued types; null
// for a type without a name.
const char *PropTypeString(uint16_t type);

// One line describing a record: its name (or hexadecimal identifier), type,
// level, length, offset, checksum and name buffer. When the record's data
// is given, priorities and dates are shown as text too.
std::string dump_tnef_attribute(const AttributeStruct &record,
                                const unsigned char *data = nullptr, size_t size = 0);
