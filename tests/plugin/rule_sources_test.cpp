// The rule sources named by "RuleFile" of "Anti-Spam": the sealed file
// "Zelto$RF.<RFVersion>" (the prefix in any case), import files in a comma
// list, the action of "Anti-Spam(Vendor)", the administrator's rules first.

#include "rules/sealed_file.h"
#include "support/plugin_host_fixture.h"

namespace {

using PluginRuleSourceTest = PluginTest;

TEST_F(PluginRuleSourceTest, VendorSourcesAndTheirAction)
{
    struct Row {
        const char *label;
        std::string ruleFile;
        const char *version;
        const char *vendorAction, *adminRule; // null: no key (Quarantine), none
        int action;                           // 0: the mail passes
        const char *name;
    } rows[] = {
        {"sealed, default action", "Zelto$RF", "1", nullptr, nullptr, 2, "Sealed lottery"},
        {"sealed, lower case", "zelto$rf", "1", "Delete", nullptr, 1, "Sealed lottery"},
        {"sealed, longer item", "ZELTO$RF_old", "1", "archive", nullptr, 3, "Sealed lottery"},
        {"sealed, version 2", "Zelto$RF", "2", "Delete", nullptr, 1, "Sealed lottery"},
        {"sealed, missing version", "Zelto$RF", "3", "Delete", nullptr, 0, ""},
        {"import files, last one", "<root>/none.txt,,<root>/vendor.txt", "1", "Delete", nullptr, 1,
         "Imported lottery"},
        {"import then sealed", "<root>/vendor.txt,Zelto$RF", "1", "Delete", nullptr, 1,
         "Imported lottery"},
        {"no sources", "", "1", "Delete", nullptr, 0, ""},
        {"administrator first", "Zelto$RF", "1", "Delete",
         "Own lottery\\C\\SUBJ=IS\"*lottery*\"\\ARCH", 3, "Own lottery"},
    };
    PluginHeaders lottery;
    lottery.subject = "You won the LOTTERY";
    for (const Row &row : rows) {
        SCOPED_TRACE(row.label);
        PluginInstallation local;
        const std::string plain = local.root() + "/plain-rules.txt";
        WriteFile(plain, "Sealed lottery\\A\\SUBJ=IS\"*lottery*\"\\DEL\n");
        for (const char *version : {"1", "2"})
            ASSERT_NE(-1, EncrptFileWithCRC(plain.c_str(),
                                            local.Path(std::string("spamrule/Zelto$RF.") + version).c_str()));
        WriteFile(local.root() + "/vendor.txt",
                  "Imported lottery\\C\\SUBJ=IS\"*lottery*\"\\QUAR\n");
        std::string sources = row.ruleFile;
        for (size_t at; (at = sources.find("<root>")) != std::string::npos;)
            sources.replace(at, 6, local.root());
        local.Set("Anti-Spam", "RuleFile", sources)
            .Set("RuleFile-Update", "RFVersion", row.version);
        if (row.vendorAction)
            local.Set("Anti-Spam(Vendor)", "Action", row.vendorAction);
        if (row.adminRule)
            local.WriteRules({row.adminRule});
        Start(&local);
        for (int pass = 0; pass < 2; ++pass) { // the second after an update
            SCOPED_TRACE(pass);
            ZWMailResult result{};
            EXPECT_EQ(row.action ? 2 : 0,
                      Run(local.AddMail(PluginPlainMail(lottery, "hi")), &result));
            EXPECT_EQ(row.action, result.action);
            const std::string record = PluginEvents(local.EventLog()).back().record;
            EXPECT_EQ(row.action != 0, record.find("\\" + std::string(row.name) + "\\") != std::string::npos)
                << record;
            ASSERT_EQ(0, plugin().command("update"));
        }
        EXPECT_EQ(0, plugin().cleanup());
        EXPECT_EQ(std::vector<std::string>{}, local.Files("tempdir")); // sealed rules unpacked there
    }
}

} // namespace
