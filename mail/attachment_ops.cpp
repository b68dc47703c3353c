// Attachment extraction, decoding and TNEF name listing for the rule scanner.
#include "mail/attachment_ops.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "base/file_util.h"
#include "base/log.h"
#include "mail/attach_decode_comp.h"
#include "mail/charset.h"
#include "mail/decode_master.h"
#include "mail/mail_info.h"
#include "mail/mime_header.h"
#include "mail/mime_line_reader.h"
#include "mail/mime_text.h"
#include "mail/temp_dir.h"
#include "mail/tnef_decoder.h"
#include "mail/unicode_text.h"

namespace {

struct TnefListing {
    Attach_Stru *attach;
    std::string dir;      // empty: names only
    std::string prefix;   // unique per decode
    MEMBUF *buf = nullptr;
    FILE *text = nullptr;
    int count = 0;
};

// Adds the text of the file saved for the last name so far to the scan
// text and deletes the file, so that one file at most is on disk.
void ReadSavedFile(TnefListing &listing)
{
    CTnefFileName *node = listing.attach->m_pTnefTail;
    if (!node || node->m_strTempPath.empty())
        return;
    AttachDecodeComp::DecodeTextFile(node->m_strTempPath.c_str(), node->m_strName.c_str(), listing.buf,
                                     listing.text);
    std::remove(node->m_strTempPath.c_str());
    node->m_strTempPath.clear();
}

int AddTnefName(char *name, void *context)
{
    auto *listing = static_cast<TnefListing *>(context);
    ReadSavedFile(*listing);
    ++listing->count;
    char *host = DecodeString(name);
    listing->attach->AddFileName(host ? host : name, false);
    std::free(host);
    if (listing->dir.empty() || !AttachDecodeComp::IsIncluded(listing->attach->m_pTnefTail->m_strName.c_str()))
        return 0;
    // The decoder saves the data under the name left in its buffer.
    std::string file = listing->prefix + "_" + std::to_string(listing->count) + ".tnf";
    listing->attach->m_pTnefTail->m_strTempPath = TnefSavePath(listing->dir.c_str(), file.c_str());
    strcpy_truncate(name, file.c_str(), TNEF_NAME_SIZE);
    return 3;
}

// Deletes the files taken out of a TNEF stream; the names stay.
void RemoveTnefFiles(Attach_Stru &attach)
{
    for (CTnefFileName *node = attach.m_pTnefHead; node; node = node->m_pNext) {
        if (!node->m_strTempPath.empty()) {
            std::remove(node->m_strTempPath.c_str());
            node->m_strTempPath.clear();
        }
    }
}

std::string NewTempFile(const char *prefix)
{
    std::string dir = AttachmentTempDir();
    dir.pop_back();
    char path[OV_MAX_PATH];
    return GetTempFileName(dir.c_str(), prefix, 0, path) ? std::string(path) : std::string();
}

bool DecodeByEncoding(const char *in, const char *out, int encoding)
{
    CDecodeMaster master;
    try {
        switch (encoding) {
        case ENCODING_BASE64:
            return master.Do_Base64Decode(in, out);
        case ENCODING_QPRINT:
            return master.Do_QPDecode(in, out);
        case ENCODING_UUENCODE:
            return master.Do_UUDecode(in, out);
        default:
            return CopyFile(in, out, false);
        }
    } catch (const std::runtime_error &error) {
        ovux_log->start() << "DecodeAttachmentContent: " << error.what() << " " << out << Orvane::endl;
        return false;
    }
}

} // namespace

bool IsTnefAttachment(const Attach_Stru &attach)
{
    return strcasecmp(attach.m_szContentType, "application/ms-tnef") == 0 ||
           strcasecmp(attach.m_szName, "winmail.dat") == 0;
}

std::string AttachmentTempDir()
{
    std::string dir = g_t_strTEMPDIR.empty() ? std::string("/tmp/") : std::string(g_t_strTEMPDIR);
    if (dir.back() != '/')
        dir += '/';
    return dir;
}

bool TakeAttachmentIntoSingleFile(const char *dfFile, const Attach_Stru &attach, const char *outPath)
{
    if (attach.m_nStart < 0)
        return false;
    FILE *in = std::fopen(dfFile, "rb");
    if (!in)
        return false;
    FILE *out = std::fopen(outPath, "wb");
    if (!out || std::fseek(in, attach.m_nStart, SEEK_SET) != 0) {
        if (out)
            std::fclose(out);
        std::fclose(in);
        return false;
    }
    long length = attach.m_nEnd > attach.m_nStart ? long(attach.m_nEnd - attach.m_nStart) : -1;
    bool uuencoded = attach.m_nEncoding == ENCODING_UUENCODE;
    bool inBody = false;
    MimeLineReader reader(in);
    while (reader.Next() && (length < 0 || reader.start() < length)) {
        const char *line = reader.text();
        if (!inBody) {
            // Part headers end at the first blank line; a uuencoded block
            // has only its "begin" line before the data.
            inBody = uuencoded || IsBlankLine(line);
            continue;
        }
        if (uuencoded && std::strncmp(line, "end", 3) == 0)
            break;
        long bytes = reader.length();
        if (length >= 0 && reader.end() > length)
            bytes = length - reader.start();
        std::fwrite(line, 1, size_t(bytes), out);
    }
    bool ok = std::fclose(out) == 0;
    std::fclose(in);
    return ok;
}

void RemoveAttachmentTempFiles(Attach_Stru &attach)
{
    for (std::string *path : {&attach.m_strTempFile, &attach.m_strTempFile2}) {
        if (!path->empty()) {
            std::remove(path->c_str());
            path->clear();
        }
    }
}

bool DecodeAttachmentContent(const char *dfFile, CMailInfo &info, int index)
{
    if (index < 0 || index >= info.m_nAttachCount)
        return false;
    Attach_Stru &attach = *info.m_pAttach[index];
    RemoveAttachmentTempFiles(attach);
    const char *prefix = info.m_nDirection == 1 ? "ATO" : "ATI";
    attach.m_strTempFile = NewTempFile(prefix);
    if (attach.m_strTempFile.empty() ||
        !TakeAttachmentIntoSingleFile(dfFile, attach, attach.m_strTempFile.c_str()))
        return false;
    attach.m_strTempFile2 = NewTempFile(prefix);
    return !attach.m_strTempFile2.empty() &&
           DecodeByEncoding(attach.m_strTempFile.c_str(), attach.m_strTempFile2.c_str(),
                            attach.m_nEncoding);
}

int GetTnefAttachmentName(Attach_Stru &attach, const char *tnefPath, const char *extractDir,
                          MEMBUF *buf, FILE *text)
{
    TnefListing listing;
    listing.attach = &attach;
    listing.dir = extractDir ? extractDir : "";
    listing.prefix = get_temp_name_without_path("TNF");
    listing.buf = buf;
    listing.text = text;
    TnefDecoder decoder(AddTnefName, &listing, listing.dir.empty() ? nullptr : listing.dir.c_str());
    int result = decoder.DecodeFile(tnefPath);
    ReadSavedFile(listing);
    return result;
}

char *DecodeString(const char *text)
{
    if (!text)
        return nullptr;
    std::string value = text;
    if (IsUtf8Text(value)) {
        value = Utf8ToHostEuc(value);
    } else {
        RFC1342_DECODED decoded;
        if (rfc1342_decode(text, &decoded, CHARSET_EUC) == 0 && decoded.m_pszText) {
            value = decoded.m_pszText;
            std::free(decoded.m_pszText);
        }
    }
    if (char *host = fromANY(value.c_str(), _kanji))
        return host;
    return strdup(value.c_str());
}

int GetTnefFileName(const char *dfFile, bool enableAttachScan, CMailInfo &info, MEMBUF *buf,
                    const char *textPath)
{
    FILE *text = enableAttachScan && textPath ? std::fopen(textPath, "ab") : nullptr;
    bool scan = enableAttachScan && (buf || text);
    std::string extractDir = scan ? AttachmentTempDir() : "";
    int decoded = 0;
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        Attach_Stru &attach = *info.m_pAttach[i];
        if (attach.m_bTnef || !IsTnefAttachment(attach))
            continue;
        if (DecodeAttachmentContent(dfFile, info, i) &&
            GetTnefAttachmentName(attach, attach.m_strTempFile2.c_str(), extractDir.c_str(), buf,
                                  text) >= 0) {
            attach.m_bTnef = true;
            ++decoded;
        }
        RemoveTnefFiles(attach);
        RemoveAttachmentTempFiles(attach);
    }
    if (scan)
        AttachDecodeComp::TraverseDecodeProcedure(dfFile, info, buf, text);
    // A name or an attachment's text that did not reach the text file is
    // text the keyword scan would not see.
    if (text) {
        const bool lost = std::ferror(text) != 0;
        if (std::fclose(text) != 0 || lost)
            info.m_bTextWriteFailed = true;
    }
    if (buf && buf->m_bInMemory)
        buf->m_szData[buf->m_nLength] = '\0';
    return decoded;
}
