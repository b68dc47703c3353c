// Reader of a MAPI property list, the data of attMAPIProps and
// attAttachment records:
//
//   count (4)  then per property:
//     type (2), id (2)
//     for ids from 0x8000 a name: GUID (16), kind (4), then an id (4) for
//       kind 0 or a length (4) and that many UTF-16 bytes, padded to 4
//     multi-valued and variable-length types (string, Unicode, binary,
//       object): a value count (4), then each value as its length (4) and
//       its bytes padded to 4 (an object's bytes start with a 16-byte
//       interface id, counted in the length)
//     fixed-size types: the value, padded to 4 (a count first when
//       multi-valued)
//
// The reader hands each value to a visitor with its place in the file; it
// never trusts a count or length further than the bytes that are there, and
// stops at the first property it cannot read (an unknown type, a length
// past the end).
#pragma once

#include <cstdint>
#include <functional>

#include "mail/tnef_input.h"

struct MapiValue {
    uint16_t type;     // without MV_FLAG
    uint16_t id;
    bool multi;        // one of several values of a multi-valued property
    bool named;        // the id is a named property's (0x8000 and above)
    uint32_t index;    // the value's place among the property's values
    long offset;       // file offset of the value's bytes
    long length;       // their count, without padding
};

// Return false to stop reading the list.
using MapiValueVisitor = std::function<bool(const MapiValue &value)>;

// Fixed size of a value of `type` (without MV_FLAG): 0 for the variable
// types, -1 for a type the reader does not know (PT_NULL and PT_UNSPECIFIED
// included: their size in a stream is not settled, so the list stops).
long MapiFixedSize(uint16_t type);

// Reads the property list from the window of `in`; returns the number of
// properties read whole. The visitor may move the file: the reader seeks
// back itself.
long ReadMapiProperties(TnefInput &in, const MapiValueVisitor &visit);
