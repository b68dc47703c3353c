// IconvTables: per-character iconv conversions with descriptors borrowed from
// a process-wide pool.
#include "mail/iconv_tables.h"

#include <cstring>
#include <mutex>

namespace {

const iconv_t kNoDescriptor = reinterpret_cast<iconv_t>(-1);

// Idle descriptors per pair of codes; pairs iconv cannot open are remembered.
class DescriptorPool {
public:
    iconv_t Take(const char *from, const char *to)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        Pair &pair = Find(from, to);
        if (pair.unsupported)
            return kNoDescriptor;
        if (!pair.idle.empty()) {
            const iconv_t cd = pair.idle.back();
            pair.idle.pop_back();
            return cd;
        }
        const iconv_t cd = iconv_open(to, from);
        pair.unsupported = cd == kNoDescriptor;
        return cd;
    }

    void Give(const char *from, const char *to, iconv_t cd)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        Find(from, to).idle.push_back(cd);
    }

private:
    struct Pair {
        std::string from;
        std::string to;
        std::vector<iconv_t> idle;
        bool unsupported = false;
    };

    Pair &Find(const char *from, const char *to)
    {
        for (Pair &p : m_pairs)
            if (p.from == from && p.to == to)
                return p;
        m_pairs.push_back(Pair{from, to, {}, false});
        return m_pairs.back();
    }

    std::mutex m_mutex;
    std::vector<Pair> m_pairs;
};

// Lives as long as the process: its descriptors are never closed.
DescriptorPool &Pool()
{
    static DescriptorPool *pool = new DescriptorPool;
    return *pool;
}

} // namespace

IconvTables::~IconvTables()
{
    for (const Taken &t : m_taken)
        if (t.cd != kNoDescriptor)
            Pool().Give(t.from, t.to, t.cd);
}

iconv_t IconvTables::Descriptor(const char *from, const char *to)
{
    for (const Taken &t : m_taken)
        if (std::strcmp(t.from, from) == 0 && std::strcmp(t.to, to) == 0)
            return t.cd;
    const iconv_t cd = Pool().Take(from, to);
    m_taken.push_back(Taken{from, to, cd});
    return cd;
}

bool IconvTables::Convert(const char *from, const char *to, const char *in, size_t n,
                          std::string &out)
{
    const iconv_t cd = Descriptor(from, to);
    if (cd == kNoDescriptor || n == 0)
        return false;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char source[8];
    char target[16];
    if (n > sizeof source)
        return false;
    std::memcpy(source, in, n);
    char *inPtr = source;
    size_t inLeft = n;
    char *outPtr = target;
    size_t outLeft = sizeof target;
    if (iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft) == static_cast<size_t>(-1) || inLeft != 0)
        return false;
    // A stateful target (none of ours today) would need its closing bytes.
    if (iconv(cd, nullptr, nullptr, &outPtr, &outLeft) == static_cast<size_t>(-1))
        return false;
    out.append(target, static_cast<size_t>(outPtr - target));
    return true;
}
