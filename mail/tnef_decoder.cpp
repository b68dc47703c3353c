// The TNEF walk: records, attachment names, embedded streams and saving.
#include "mail/tnef_decoder.h"

#include <sys/stat.h>

#include <cstring>

#include "base/log.h"
#include "mail/temp_dir.h"
#include "mail/tnef_input.h"
#include "mail/tnef_names.h"
#include "mail/tnef_props.h"
#include "mail/tnef_text.h"

namespace {

constexpr long kObjectIidSize = 16;
constexpr long kMaxNameBytes = 2048;   // read of a name property; the rest is skipped
constexpr char kHiddenName[] = "\n\t\n";

// The name properties of one attachment, in order of preference.
struct NameChoice {
    bool present[3] = {false, false, false};
    std::string text[3];   // long file name, file name, display name

    void Offer(int rank, const std::string &value)
    {
        if (!present[rank]) {
            present[rank] = true;
            text[rank] = value;
        }
    }
    // Replaces name when any name property was there.
    void Apply(char *name) const
    {
        bool any = false;
        for (int rank = 0; rank < 3; ++rank) {
            any = any || present[rank];
            if (present[rank] && !text[rank].empty()) {
                TnefCopyName(name, TNEF_NAME_SIZE, text[rank]);
                return;
            }
        }
        if (any)
            name[0] = '\0';
    }
};

int NameRank(uint16_t id)
{
    switch (id) {
    case PROP_ATTACH_LONG_FILENAME:
        return 0;
    case PROP_ATTACH_FILENAME:
        return 1;
    case PROP_DISPLAY_NAME:
        return 2;
    default:
        return -1;
    }
}

// Reads a name property's text; false when it is not a single string.
bool ReadNameValue(FILE *file, const MapiValue &value, std::string *text)
{
    if (value.multi || value.named || (value.type != PT_STRING8 && value.type != PT_UNICODE))
        return false;
    TnefInput in(file, value.offset, value.offset + value.length);
    std::string bytes;
    if (!in.TakePrefix(value.length, kMaxNameBytes, &bytes))
        return false;
    *text = value.type == PT_UNICODE ? TnefUnicodeToUtf8(bytes) : TnefString8(bytes);
    return true;
}

// RAII count of the walk's nesting depth.
class DepthGuard {
public:
    explicit DepthGuard(int &depth) : m_depth(depth) { ++m_depth; }
    ~DepthGuard() { --m_depth; }
    DepthGuard(const DepthGuard &) = delete;
    DepthGuard &operator=(const DepthGuard &) = delete;

private:
    int &m_depth;
};

} // namespace

int VerifyTNEF(FILE *file)
{
    unsigned char header[TNEF_HEADER_SIZE];
    if (std::fread(header, 1, 4, file) != 4)
        return -14;
    if (Read32(header) != TNEF_SIGNATURE)
        return -10;
    if (std::fread(header + 4, 1, 2, file) != 2)
        return -14;
    return 0;
}

int SaveAttachData(AttributeStruct record, FILE *file, const char *path)
{
    long kept = std::ftell(file);
    if (std::fseek(file, record.m_lOffset, SEEK_SET) != 0)
        return -17;
    FILE *out = std::fopen(path, "wb");
    if (!out) {
        std::fseek(file, kept, SEEK_SET);
        return -17;
    }
    bool ok = true;
    unsigned long left = record.m_nLength;
    char buffer[1024];
    while (ok && left > 0) {
        size_t piece = left < sizeof buffer ? left : sizeof buffer;
        ok = std::fread(buffer, 1, piece, file) == piece &&
             std::fwrite(buffer, 1, piece, out) == piece;
        left -= piece;
    }
    ok = std::fclose(out) == 0 && ok;
    std::fseek(file, kept, SEEK_SET);
    if (!ok) {
        std::remove(path);
        return -17;
    }
    return -16;
}

void ErrorDump()
{
}

std::string TnefSavePath(const char *dir, const char *name)
{
    std::string path = dir ? dir : "";
    if (!path.empty() && path.back() != '\\' && path.back() != '/')
        path += '/';
    std::string file = SafeFileNamePart(name);
    return path + (file == "." ? "_" : file);
}

TnefDecoder::TnefDecoder(TnefNameCallback callback, void *context, const char *saveDir)
    : m_pCallback(callback), m_pContext(context), m_strSaveDir(saveDir ? saveDir : "")
{
}

int TnefDecoder::DecodeFile(const char *path)
{
    FILE *file = path ? std::fopen(path, "rb") : nullptr;
    if (!file)
        return -1;
    struct stat info;
    int result = -1;
    if (fstat(fileno(file), &info) == 0)
        result = Decode(file, static_cast<long>(info.st_size));
    std::fclose(file);
    return result;
}

int TnefDecoder::Decode(FILE *file, long size)
{
    m_pFile = file;
    m_nDepth = 0;
    m_bStopped = false;
    m_bFailed = false;
    if (std::fseek(file, 0, SEEK_SET) != 0)
        return -1;
    int result = ProcessTNEF(size);
    return m_bFailed ? -1 : result;
}

int TnefDecoder::ProcessTNEF(long end)
{
    DepthGuard depth(m_nDepth);
    if (m_nDepth >= TNEF_MAX_DEPTH)
        return 0;
    if (VerifyTNEF(m_pFile) != 0)
        return -1;
    long position = std::ftell(m_pFile);
    std::string title;
    AttributeStruct pending;
    bool havePending = false;
    while (position != -1 && position < end && !m_bStopped && !m_bFailed) {
        AttributeStruct record = ReadAttribute(&position, end);
        if (record.m_nStatus != TNEF_RECORD_OK || m_bStopped || m_bFailed)
            break;
        switch (record.m_nId) {
        case attAttachRenddata:
            title.clear();
            havePending = false;
            break;
        case attAttachTitle:
            title = record.m_szName;
            break;
        case attAttachData:
            pending = record;
            havePending = true;
            break;
        case attAttachment: {
            if (!havePending && record.m_lPropData >= 0) {
                pending = AttributeStruct();
                pending.m_nId = attAttachData;
                pending.m_lOffset = record.m_lPropData;
                pending.m_nLength = record.m_nPropDataLength;
                havePending = true;
            }
            bool saved = false;
            if (!ReportAttachment(record, title, havePending ? &pending : nullptr, &saved))
                return m_bStopped ? 0 : -1;
            havePending = havePending && !saved;
            break;
        }
        default:
            break;
        }
    }
    return 0;
}

bool TnefDecoder::ReportAttachment(AttributeStruct &record, const std::string &title,
                                   const AttributeStruct *pending, bool *saved)
{
    if (record.m_szName[0] == '\0')
        TnefCopyName(record.m_szName, TNEF_NAME_SIZE, title);
    if (std::strcmp(record.m_szName, kHiddenName) == 0)
        return true;
    int answer = m_pCallback(record.m_szName, m_pContext);
    if (answer == 1) {
        m_bStopped = true;
        return false;
    }
    if (answer != 3 || !pending || m_strSaveDir.empty())
        return true;
    std::string path = TnefSavePath(m_strSaveDir.c_str(), record.m_szName);
    *saved = true;
    if (SaveAttachData(*pending, m_pFile, path.c_str()) != -16) {
        ovux_log->start() << "ProcessTNEF: cannot save " << path << Orvane::endl;
        ErrorDump();
        m_bFailed = true;
        return false;
    }
    return true;
}

AttributeStruct TnefDecoder::ReadAttribute(long *position, long end)
{
    AttributeStruct record;
    TnefInput in(m_pFile, *position, end);
    unsigned char head[9];
    uint16_t checksum = 0;
    bool complete = in.Take(head, sizeof head);
    if (complete) {
        record.m_nLevel = head[0];
        record.m_nId = Read32(head + 1);
        record.m_nLength = Read32(head + 5);
        record.m_lOffset = in.pos();
        complete = uint64_t(record.m_nLength) + 2 <= uint64_t(in.left()) &&
                   in.Skip(long(record.m_nLength)) && in.TakeU16(&checksum);
    }
    if (!complete) {
        record.m_nStatus = TNEF_RECORD_TRUNCATED;
        ovux_log->start() << "ReadAttribute: record cut short at " << *position << ": "
                          << dump_tnef_attribute(record) << Orvane::endl;
        *position = -1;
        return record;
    }
    record.m_nChecksum = checksum;
    long next = in.pos();
    *position = next < end ? next : -1;
    long dataEnd = record.m_lOffset + long(record.m_nLength);
    if (record.m_nId == attAttachTitle) {
        std::string text;
        if (in.Seek(record.m_lOffset) && in.TakePrefix(long(record.m_nLength), kMaxNameBytes, &text))
            TnefCopyName(record.m_szName, TNEF_NAME_SIZE, TnefString8(text));
    } else if (record.m_nId == attAttachment || record.m_nId == attMAPIProps) {
        if (std::fseek(m_pFile, record.m_lOffset, SEEK_SET) == 0)
            HandleProperty(dataEnd, record);
    }
    std::fseek(m_pFile, next, SEEK_SET);
    return record;
}

void TnefDecoder::HandleProperty(long end, AttributeStruct &record)
{
    NameChoice names;
    TnefInput in(m_pFile, std::ftell(m_pFile), end);
    ReadMapiProperties(in, [&](const MapiValue &value) {
        int rank = NameRank(value.id);
        std::string text;
        long start = 0;
        if (rank >= 0 && ReadNameValue(m_pFile, value, &text)) {
            names.Offer(rank, text);
        } else if (IsEmbeddedStream(value, &start)) {
            FollowEmbedded(start, value.offset + value.length);
        } else if (IsAttachmentData(value) && record.m_lPropData < 0) {
            long skip = value.type == PT_OBJECT ? kObjectIidSize : 0;
            record.m_lPropData = value.offset + skip;
            record.m_nPropDataLength = uint32_t(value.length - skip);
        }
        return !m_bStopped && !m_bFailed;
    });
    names.Apply(record.m_szName);
}

bool TnefDecoder::IsAttachmentData(const MapiValue &value)
{
    return value.id == PROP_ATTACH_DATA && !value.named && !value.multi &&
           (value.type == PT_BINARY || (value.type == PT_OBJECT && value.length >= kObjectIidSize));
}

bool TnefDecoder::IsEmbeddedStream(const MapiValue &value, long *start) const
{
    if (value.id != PROP_ATTACH_DATA || value.named)
        return false;
    if (value.type == PT_OBJECT)
        *start = value.offset + kObjectIidSize;
    else if (value.type == PT_BINARY)
        *start = value.offset;
    else
        return false;
    TnefInput in(m_pFile, *start, value.offset + value.length);
    uint32_t signature = 0;
    return in.TakeU32(&signature) && signature == TNEF_SIGNATURE;
}

void TnefDecoder::FollowEmbedded(long start, long end)
{
    if (std::fseek(m_pFile, start, SEEK_SET) == 0)
        ProcessTNEF(end);
}
