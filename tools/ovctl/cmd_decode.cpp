// ovctl decode / encode: the transfer decoders and encoders over a file, as
// the MIME walk and the notification mail use them.
//
//   ovctl decode base64|qp [FILE]   from_base64 / from_qprint of the whole input
//                                   as one buffer; exit 1 when they fail
//   ovctl decode uu [FILE]          Do_UUDecode of the input (line by line)
//   ovctl encode base64|qp [FILE]   to_base64 / to_qprint of the whole input
//
// FILE absent or "-" is standard input; the bytes go to standard output.
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "mail/decode_master.h"
#include "mail/transfer_codecs.h"
#include "tools/ovctl/command.h"

namespace {

struct Freer {
    void operator()(char *p) const { std::free(p); }
};

// A temporary file that is removed with the object.
class TempFile {
public:
    TempFile()
    {
        const char *dir = std::getenv("TMPDIR");
        std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/ovctl-uu-XXXXXX";
        const int fd = mkstemp(pattern.data());
        if (fd >= 0) {
            close(fd);
            m_path = pattern;
        }
    }
    ~TempFile()
    {
        if (!m_path.empty())
            unlink(m_path.c_str());
    }
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

bool read_args(const OvctlArgs &args, const char *command, std::string *data, int *status)
{
    if (args.size() < 1 || args.size() > 2) {
        *status = ovctl_usage(command);
        return false;
    }
    std::string error;
    if (!ovctl_read_input(args.size() == 2 ? args[1] : "-", data, &error)) {
        *status = ovctl_fail(error);
        return false;
    }
    if (data->size() >= static_cast<size_t>(INT_MAX)) {
        *status = ovctl_fail("input too large");
        return false;
    }
    return true;
}

int write_result(char *bytes, int n, const char *what)
{
    std::unique_ptr<char, Freer> owned(bytes);
    if (!bytes)
        return ovctl_fail(std::string(what) + " failed");
    ovctl_write_output(std::string(bytes, static_cast<size_t>(n)));
    return 0;
}

// Do_UUDecode reads and writes files: the input goes through a temporary
// file when it is standard input.
int decode_uu(const OvctlArgs &args)
{
    if (args.size() > 2)
        return ovctl_usage("decode");
    std::string input = args.size() == 2 ? args[1] : "-";
    TempFile in;
    TempFile out;
    if (in.path().empty() || out.path().empty())
        return ovctl_fail("cannot create a temporary file");
    if (input == "-") {
        std::string data;
        std::string error;
        if (!ovctl_read_input("-", &data, &error))
            return ovctl_fail(error);
        std::ofstream(in.path(), std::ios::binary) << data;
        input = in.path();
    } else if (access(input.c_str(), R_OK) != 0) {
        return ovctl_fail("cannot open " + input);
    }
    CDecodeMaster decoder;
    try {
        decoder.Do_UUDecode(input.c_str(), out.path().c_str());
    } catch (const std::exception &e) {
        return ovctl_fail(e.what());
    }
    std::ifstream result(out.path(), std::ios::binary);
    ovctl_write_output(std::string(std::istreambuf_iterator<char>(result), {}));
    return 0;
}

int run_decode(const OvctlArgs &args)
{
    if (args.empty())
        return ovctl_usage("decode");
    if (args[0] == "uu")
        return decode_uu(args);
    if (args[0] != "base64" && args[0] != "qp")
        return ovctl_usage("decode");
    std::string data;
    int status = 0;
    if (!read_args(args, "decode", &data, &status))
        return status;
    int n = 0;
    const int len = static_cast<int>(data.size());
    const bool base64 = args[0] == "base64";
    char *bytes = base64 ? from_base64(data.data(), len, &n) : from_qprint(data.data(), len, &n);
    return write_result(bytes, n, base64 ? "base64 decoding" : "quoted-printable decoding");
}

int run_encode(const OvctlArgs &args)
{
    if (args.empty() || (args[0] != "base64" && args[0] != "qp"))
        return ovctl_usage("encode");
    std::string data;
    int status = 0;
    if (!read_args(args, "encode", &data, &status))
        return status;
    int n = 0;
    const int len = static_cast<int>(data.size());
    const bool base64 = args[0] == "base64";
    char *bytes = base64 ? to_base64(data.data(), len, &n) : to_qprint(data.data(), len, &n);
    return write_result(bytes, n, base64 ? "base64 encoding" : "quoted-printable encoding");
}

const char kDecodeHelp[] =
    "Runs a transfer decoder of the MIME walk on raw bytes.\n"
    "base64 and qp decode the whole input as one buffer (exit 1 when the decoder\n"
    "fails); uu decodes uuencoded blocks line by line. FILE absent or \"-\" is\n"
    "standard input; the decoded bytes go to standard output.\n";
const char kEncodeHelp[] =
    "Runs a transfer encoder of the notification mail on raw bytes.\n"
    "FILE absent or \"-\" is standard input; the encoded text goes to standard output.\n";
const OvctlCommand decode_reg{"decode", "decode base64|qp|uu [FILE]", run_decode, kDecodeHelp};
const OvctlCommand encode_reg{"encode", "encode base64|qp [FILE]", run_encode, kEncodeHelp};

} // namespace
