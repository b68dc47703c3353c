// ovctl tnef: what the plug-in's TNEF decoder finds in a "winmail.dat".
//
//   ovctl tnef list FILE         one line per attachment name, in stream order
//   ovctl tnef extract FILE DIR  saves the attachments into DIR (which must
//                                exist) under their names, made safe for file
//                                names ("/" and ".." become "_"; a name met
//                                twice gets "_2", "_3"... before its
//                                extension), and prints each file name
//
// list uses the exported decoder functions exactly as another program would;
// extract runs the same decoder with DIR as a directory of this system (the
// exported save path joins directory and name with a backslash, as the
// format's platform does). Exit 1 when the decoder returns a negative value (not a TNEF stream, an
// unreadable file, or a file that could not be written).
#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "base/file_util.h"
#include "mail/temp_dir.h"
#include "mail/tnef_decoder.h"
#include "ov/tnef.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/unique_file_names.h"

namespace {

struct Listing {
    int answer;
    UniqueFileNames saved;   // file names used so far
};

int print_name(char *name, void *context)
{
    auto *listing = static_cast<Listing *>(context);
    if (listing->answer == OVCM_TNEF_SAVE) {
        // The decoder saves under the name left in its buffer.
        std::string file = listing->saved.Take(name);
        strcpy_truncate(name, file.c_str(), 256);
    }
    std::printf("%s\n", name);
    return listing->answer;
}

// Decodes through the exported functions, or, given a directory, with the
// decoder saving into it.
int decode(const std::string &file, int answer, const std::string &dir = "")
{
    Listing listing{answer, {}};
    int result;
    if (dir.empty()) {
        OVCMSetExtractAttachName(print_name, &listing);
        result = OVCMDecodeTNEF(const_cast<char *>(file.c_str()));
    } else {
        TnefDecoder decoder(print_name, &listing, (dir + "/").c_str());
        result = decoder.DecodeFile(file.c_str());
    }
    std::fflush(stdout);
    if (result < 0)
        return ovctl_fail("cannot decode " + file + " (result " + std::to_string(result) +
                          "): not a TNEF stream, unreadable, or an attachment not saved");
    return 0;
}

int run_tnef(const OvctlArgs &args)
{
    if (args.size() == 2 && args[0] == "list") {
        OVCMSetSaveAttachPath(nullptr);
        return decode(args[1], OVCM_TNEF_CONTINUE);
    }
    if (args.size() == 3 && args[0] == "extract") {
        struct stat info;
        if (stat(args[2].c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            return ovctl_fail(args[2] + " is not a directory");
        return decode(args[1], OVCM_TNEF_SAVE, args[2]);
    }
    return ovctl_usage("tnef");
}

const char kHelp[] =
    "Shows the files inside a TNEF stream (\"winmail.dat\") as the plug-in decodes it.\n"
    "  list FILE         one line per attachment name, in stream order\n"
    "  extract FILE DIR  saves the attachments into DIR (which must exist) under\n"
    "                    their names made safe (\"/\" and \"..\" become \"_\", a name met\n"
    "                    again gets \"_2\", \"_3\"...) and prints each file name\n"
    "Exit 1 when FILE is no TNEF stream, cannot be read, or a file cannot be written.\n";
const OvctlCommand reg{"tnef", "tnef list FILE | tnef extract FILE DIR", run_tnef, kHelp};

} // namespace
