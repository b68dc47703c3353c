// UniqueFileNames against the classic rule (count from 2 until a name is
// free) on names that collide with each other's numbered forms.
#include <random>
#include <set>

#include "mail/temp_dir.h"
#include "tools/ovctl/unique_file_names.h"
#include "tools/ovctl_cases.h"

namespace
{

std::vector<std::string> ClassicNames(const std::vector<std::string> &names)
{
    std::set<std::string> saved;
    std::vector<std::string> out;
    for (const std::string &name : names) {
        const std::string safe = SafeFileNamePart(name.c_str());
        size_t dot = safe.rfind('.');
        if (dot == 0 || dot == std::string::npos)
            dot = safe.size();
        std::string candidate = safe;
        for (int n = 2; saved.count(candidate); ++n)
            candidate = safe.substr(0, dot) + "_" + std::to_string(n) + safe.substr(dot);
        saved.insert(candidate);
        out.push_back(candidate);
    }
    return out;
}

std::vector<std::string> TakeAll(const std::vector<std::string> &names)
{
    UniqueFileNames unique;
    std::vector<std::string> out;
    for (const std::string &name : names)
        out.push_back(unique.Take(name.c_str()));
    return out;
}

TEST(UniqueFileNames, SameNamesAsTheClassicRule)
{
    EXPECT_EQ(TakeAll({"a.txt", "a.txt", "a_2.txt", "../a.txt", "x.tar.gz", "x.tar.gz", ".p", ".p"}),
              (std::vector<std::string>{"a.txt", "a_2.txt", "a_2_2.txt", "__a.txt", "x.tar.gz",
                                        "x.tar_2.gz", ".p", ".p_2"}));
    // Random sequences over a few bases, their numbered forms and unsafe spellings.
    const char *pool[] = {"a.txt",    "a_2.txt", "a_3.txt", "a_2_2.txt", "a", "a_2",
                          "../a.txt", ".txt",    "b.c.d",   "b.c_2.d",   "/", ".."};
    std::mt19937 random(18);
    for (int round = 0; round < 50; ++round) {
        std::vector<std::string> names(200);
        for (std::string &name : names)
            name = pool[random() % (sizeof pool / sizeof *pool)];
        ASSERT_EQ(TakeAll(names), ClassicNames(names)) << "round " << round;
    }
}

} // namespace
