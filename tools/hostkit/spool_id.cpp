#include "tools/hostkit/spool_id.h"

#include <cctype>

std::string spool_id_from_name(const std::string &name)
{
    std::string id;
    for (char c : name) {
        if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' ||
            (c == '.' && (id.empty() || id.back() != '.')))
            id += c;
        else if (!id.empty() && id.back() != '_')
            id += '_';
    }
    // A path's last part tells most; keep the end when it must be cut.
    if (id.size() > kSpoolIdMax)
        id = id.substr(id.size() - kSpoolIdMax);
    while (!id.empty() && (id.front() == '_' || id.front() == '.'))
        id.erase(0, 1);
    return id.empty() ? "mail" : id;
}

std::string spool_id_candidate(const std::string &id, int attempt)
{
    return attempt <= 1 ? id : id + "_" + std::to_string(attempt);
}
