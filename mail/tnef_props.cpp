// MAPI property list reading for the TNEF decoder.
#include "mail/tnef_props.h"

#include "mail/tnef_format.h"

namespace {

constexpr long kGuidSize = 16;

long Padded(long length)
{
    return (length + 3) & ~3L;
}

bool IsVariable(uint16_t type)
{
    return type == PT_STRING8 || type == PT_UNICODE || type == PT_BINARY || type == PT_OBJECT;
}

// Skips the name that follows the tag of a named property.
bool SkipPropertyName(TnefInput &in)
{
    uint32_t kind = 0;
    if (!in.Skip(kGuidSize) || !in.TakeU32(&kind))
        return false;
    if (kind == 0)
        return in.Skip(4);
    uint32_t length = 0;
    if (kind != 1 || !in.TakeU32(&length) || uint64_t(length) > uint64_t(in.left()))
        return false;
    return in.Skip(Padded(long(length)));
}

// One value of a variable-length type: its length, then its bytes.
bool ReadVariableValue(TnefInput &in, MapiValue &value, const MapiValueVisitor &visit,
                       bool *stop)
{
    uint32_t length = 0;
    if (!in.TakeU32(&length) || uint64_t(length) > uint64_t(in.left()))
        return false;
    value.offset = in.pos();
    value.length = long(length);
    long next = value.offset + Padded(value.length);
    if (next > in.end())
        next = in.end();   // the last value may omit its padding
    *stop = !visit(value);
    return in.Seek(next);
}

bool ReadFixedValue(TnefInput &in, MapiValue &value, long size, const MapiValueVisitor &visit,
                    bool *stop)
{
    long step = Padded(size);
    if (step > in.left())
        return false;
    value.offset = in.pos();
    value.length = size;
    *stop = !visit(value);
    return in.Seek(value.offset + step);
}

// Reads the values of one property; false when the list cannot go on.
bool ReadValues(TnefInput &in, MapiValue &value, const MapiValueVisitor &visit, bool *stop)
{
    long size = MapiFixedSize(value.type);
    if (size < 0)
        return false;
    uint32_t count = 1;
    if ((value.multi || IsVariable(value.type)) && !in.TakeU32(&count))
        return false;
    // Every value takes at least four bytes, so a lying count ends at the
    // window's end; fixed values are checked all at once.
    if (!IsVariable(value.type) && uint64_t(count) * uint64_t(Padded(size)) > uint64_t(in.left()))
        return false;
    for (uint32_t i = 0; i < count && !*stop; ++i) {
        value.index = i;
        bool ok = IsVariable(value.type) ? ReadVariableValue(in, value, visit, stop)
                                         : ReadFixedValue(in, value, size, visit, stop);
        if (!ok)
            return false;
    }
    return true;
}

} // namespace

long MapiFixedSize(uint16_t type)
{
    switch (type) {
    case PT_I2:
        return 2;
    case PT_LONG:
    case PT_R4:
    case PT_ERROR:
    case PT_BOOLEAN:
        return 4;
    case PT_DOUBLE:
    case PT_CURRENCY:
    case PT_APPTIME:
    case PT_I8:
    case PT_SYSTIME:
        return 8;
    case PT_CLSID:
        return kGuidSize;
    case PT_STRING8:
    case PT_UNICODE:
    case PT_BINARY:
    case PT_OBJECT:
        return 0;
    default:
        return -1;
    }
}

long ReadMapiProperties(TnefInput &in, const MapiValueVisitor &visit)
{
    uint32_t count = 0;
    if (!in.TakeU32(&count))
        return 0;
    long done = 0;
    bool stop = false;
    for (uint32_t i = 0; i < count && !stop; ++i) {
        uint16_t type = 0;
        uint16_t id = 0;
        if (!in.TakeU16(&type) || !in.TakeU16(&id))
            break;
        MapiValue value{};
        value.type = uint16_t(type & ~MV_FLAG);
        value.multi = (type & MV_FLAG) != 0;
        value.id = id;
        value.named = id >= MAPI_NAMED_FIRST;
        if (value.named && !SkipPropertyName(in))
            break;
        if (!ReadValues(in, value, visit, &stop))
            break;
        ++done;
    }
    return done;
}
