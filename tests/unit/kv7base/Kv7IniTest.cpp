#include "z9ini.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "AllocationProbe.h"
#include "TempFiles.h"
#include "except.h"
#include "z9log.h"

namespace test::Kv7IniTest {
namespace {

using namespace kv7base;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testing_support::TempFiles;

/// The error that the call throws; fails the test when it throws none.
struct Thrown
{
    Z9ERR code = 0;
    std::string text;
};

Thrown ErrorOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const CZ9Error& error) {
        return {error.GetCode(), error.what()};
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

class Ini : public testing::Test
{
protected:
    void Open(std::string_view text) { ini.Open(files.Write("settings.ini", text)); }
    [[nodiscard]] std::string Name() const { return files.Path("settings.ini"); }

    TempFiles files;
    CZ9Ini ini;
};

TEST_F(Ini, ReadsNumbersAndTextsAndGivesTheDefaultForAMissingKey)
{
    Open("[QuindalIM::mq]\nport = 4001\nname = link\n");
    EXPECT_EQ(ini.ReadInt("QuindalIM::mq", "port", -1), 4001);
    EXPECT_EQ(ini.ReadInt("QuindalIM::mq", "timeout", -1), -1);
    EXPECT_EQ(ini.ReadInt("quindalim::mq", "port", -1), -1) << "names are case-sensitive";
    EXPECT_EQ(ini.ReadStr("QuindalIM::mq", "name", "none"), "link");
    EXPECT_EQ(ini.ReadStr("QuindalIM::mq", "other", "none"), "none");
}

TEST_F(Ini, ARequiredNumberMayEqualEitherOfTheDefaultsItIsReadWith)
{
    Open("[s]\none = 1\ntwo = 2\nseven = 7\n");
    EXPECT_EQ(ini.ReadRequiredInt("s", "one"), 1);
    EXPECT_EQ(ini.ReadRequiredInt("s", "two"), 2);
    EXPECT_EQ(ini.ReadRequiredInt("s", "seven"), 7);
}

TEST_F(Ini, AMissingRequiredNumberIsReportedWithKeySectionAndFile)
{
    Open("[s]\n");
    const Thrown thrown = ErrorOf([&] { static_cast<void>(ini.ReadRequiredInt("s", "port")); });
    EXPECT_EQ(thrown.code, 23u);
    EXPECT_THAT(thrown.text, HasSubstr("Can't read key 'port' in section 's' from ini-file '" + Name() +
                                       "', parameter is missing;z9ini.cpp:"));
}

TEST_F(Ini, ARequiredTextMayEqualAnyText)
{
    Open("[s]\na = -1\nb = -2\nc = x\n");
    EXPECT_EQ(ini.ReadRequiredStr("s", "a"), "-1");
    EXPECT_EQ(ini.ReadRequiredStr("s", "b"), "-2");
    EXPECT_EQ(ini.ReadRequiredStr("s", "c"), "x");
}

TEST_F(Ini, AMissingRequiredTextIsReportedLikeANumber)
{
    Open("[s]\n");
    const Thrown thrown = ErrorOf([&] { static_cast<void>(ini.ReadRequiredStr("s", "user")); });
    EXPECT_EQ(thrown.code, 23u);
    EXPECT_THAT(thrown.text,
                HasSubstr("Can't read key 'user' in section 's' from ini-file '" + Name() + "', parameter is missing"));
}

TEST_F(Ini, FourTextsAreBooleansAndNoOther)
{
    Open("[s]\na = true\nb = 1\nc = false\nd = 0\ne = yes\nf = True\n");
    EXPECT_TRUE(ini.ReadBool("s", "a", false));
    EXPECT_TRUE(ini.ReadBool("s", "b", false));
    EXPECT_FALSE(ini.ReadBool("s", "c", true));
    EXPECT_FALSE(ini.ReadBool("s", "d", true));
    for (const char* const key : {"e", "f"}) {
        const Thrown thrown = ErrorOf([&] { static_cast<void>(ini.ReadBool("s", key, false)); });
        EXPECT_EQ(thrown.code, 23u);
        EXPECT_THAT(thrown.text, HasSubstr(std::string("Can't read key '") + key + "' in section 's' from ini-file '" +
                                           Name() + "', unexpected boolean parameter"));
    }
}

TEST_F(Ini, AMissingBooleanAndTheWordUndefinedGiveTheDefault)
{
    Open("[s]\nu = undefined\n");
    EXPECT_TRUE(ini.ReadBool("s", "none", true));
    EXPECT_FALSE(ini.ReadBool("s", "none", false));
    EXPECT_TRUE(ini.ReadBool("s", "u", true));
}

TEST_F(Ini, ALongTextComesBackWhole)
{
    // 511 characters and their zero fill the first buffer exactly.
    for (const std::size_t length : {511u, 512u, 513u, 600u, 5000u}) {
        const std::string value(length, 'v');
        Open("[s]\nk = " + value + "\n");
        EXPECT_EQ(ini.ReadStr("s", "k", ""), value) << length;
        EXPECT_EQ(ini.ReadStr("s", "none", value), value) << length << " as the default";
    }
}

TEST_F(Ini, WhatIsWrittenIsReadBackAndStandsInTheFile)
{
    Open("[s]\nold = 1\n");
    ini.WriteInt("s", "number", -5);
    ini.WriteStr("s", "text", "blue sky");
    EXPECT_EQ(ini.ReadInt("s", "number", 0), -5);
    EXPECT_EQ(ini.ReadStr("s", "text", ""), "blue sky");
    CZ9Ini again;
    again.Open(Name());
    EXPECT_EQ(again.ReadInt("s", "number", 0), -5);
    EXPECT_EQ(again.ReadInt("s", "old", 0), 1);
}

TEST_F(Ini, AFailedWriteTellsKeyValueSectionAndFile)
{
    const Thrown number = ErrorOf([&] { ini.WriteInt("s", "k", 5); });
    EXPECT_NE(number.code, 0u);
    EXPECT_THAT(number.text, HasSubstr("Failed to write key 'k' value 5 in section 's' in ini-file ''"));
    const Thrown text = ErrorOf([&] { ini.WriteStr("s", "k", "v"); });
    EXPECT_NE(text.code, 0u);
    EXPECT_THAT(text.text, HasSubstr("Failed to write key 'k' value 'v' in section 's' in ini-file ''"));
}

TEST_F(Ini, AFailedOpenThrowsThePlatformsCodeAndKeepsTheFileThatWasOpen)
{
    Open("[s]\nk = 7\n");
    void* const before = ini.GetHandle();
    const std::string missing = files.Path("missing.ini");
    const Thrown thrown = ErrorOf([&] { ini.Open(missing); });
    EXPECT_EQ(thrown.code, Z9ERR_INI_CANNOT_OPEN);
    EXPECT_THAT(thrown.text, HasSubstr("Open ini file '" + missing + "' failed"));
    EXPECT_EQ(ini.GetHandle(), before);
    EXPECT_EQ(ini.ReadInt("s", "k", 0), 7);
    EXPECT_EQ(ini.GetName(), missing) << "the name is that of the last attempt";
}

TEST_F(Ini, OpeningAnotherFileReplacesTheFirst)
{
    Open("[s]\nk = 7\n");
    ini.Open(files.Write("other.ini", "[s]\nk = 8\n"));
    EXPECT_EQ(ini.ReadInt("s", "k", 0), 8);
    EXPECT_EQ(ini.GetName(), files.Path("other.ini"));
}

TEST_F(Ini, AClosedIniReadsDefaultsAndMayBeClosedAgain)
{
    Open("[s]\nk = 7\n");
    EXPECT_TRUE(ini.IsOpen());
    ini.Close();
    ini.Close();
    EXPECT_FALSE(ini.IsOpen());
    EXPECT_EQ(ini.GetHandle(), nullptr);
    EXPECT_EQ(ini.ReadInt("s", "k", -3), -3);
}

TEST_F(Ini, SectionsAndKeysAreListedInFileOrder)
{
    Open("[zulu]\nb = 1\na = 2\n[alpha]\nc = 3\n");
    std::vector<std::string> sections{"already there"};
    EXPECT_TRUE(ini.EnumSections(sections));
    EXPECT_THAT(sections, ElementsAre("already there", "zulu", "alpha"));
    std::vector<std::string> keys;
    EXPECT_TRUE(ini.EnumSectionKeys("zulu", keys));
    EXPECT_THAT(keys, ElementsAre("b", "a"));
}

TEST_F(Ini, AListOfAClosedIniIsNoList)
{
    std::vector<std::string> names;
    EXPECT_FALSE(ini.EnumSections(names));
    EXPECT_FALSE(ini.EnumSectionKeys("s", names));
    EXPECT_THAT(names, ElementsAre());
}

TEST_F(Ini, AListThatDoesNotFitIntoMemoryIsReportedInTheLogAndStopsTheWalk)
{
    Open("[s]\nk = 1\n[log]\nfile = " + files.Path("app.log") + "\n");
    GetDefaultLog().Open(ini, "log");
    // 4000 strings of 32 bytes; one more makes the vector ask for a block above the limit.
    std::vector<std::string> names(4000);
    names.shrink_to_fit();
    {
        const testing_support::LargeAllocationsFail noRoom(4001 * sizeof(std::string));
        EXPECT_FALSE(ini.EnumSections(names));
        EXPECT_FALSE(ini.EnumSectionKeys("s", names));
    }
    GetDefaultLog().Close();
    EXPECT_EQ(names.size(), 4000u);
    const std::vector<std::string> lines = files.Lines("app.log");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], testing::EndsWith("ERROR [QuindalIM] Exception occurred in enum_sections_cb std::bad_alloc"));
    EXPECT_THAT(lines[1],
                testing::EndsWith("ERROR [QuindalIM] Exception occurred in enum_section_keys_cb std::bad_alloc"));
}

TEST_F(Ini, CopyingIsATransferOfTheFile)
{
    Open("[s]\nk = 7\n");
    CZ9Ini taker(ini);
    EXPECT_FALSE(ini.IsOpen());
    EXPECT_EQ(taker.ReadInt("s", "k", 0), 7);
    EXPECT_EQ(taker.GetName(), Name());
    CZ9Ini assigned;
    assigned = taker;
    EXPECT_FALSE(taker.IsOpen());
    EXPECT_EQ(assigned.ReadInt("s", "k", 0), 7);
    CZ9Ini& itself = assigned;
    assigned = itself;
    EXPECT_EQ(assigned.ReadInt("s", "k", 0), 7) << "a transfer to itself loses nothing";
}

std::vector<int> closed;

int CloseNumber(int handle)
{
    closed.push_back(handle);
    return 0;
}

TEST(Handle, IsClosedOnceByItsLastOwner)
{
    closed.clear();
    {
        CHandle<int, CloseNumber> first(11);
        CHandle<int, CloseNumber> second(first);
        EXPECT_FALSE(first.IsInitialized());
        second.Attach(12);
        EXPECT_THAT(closed, ElementsAre(11));
        EXPECT_EQ(second.Detach(), 12);
        first.Attach(13);
        first.Swap(second);
        EXPECT_EQ(second.GetHandle(), 13);
        first.Release();
    }
    EXPECT_THAT(closed, ElementsAre(11, 13)) << "the detached one is not closed, the empty one neither";
}

TEST_F(Ini, TheDefaultIniStandsForTheProcessFileAndLeavesItOpen)
{
    const std::string name = files.Write("process.ini", "[s]\nk = 9\n");
    {
        CZ9DefaultIni defaultIni;
        defaultIni.Open(name);
        EXPECT_EQ(defaultIni.GetHandle(), reinterpret_cast<void*>(static_cast<std::intptr_t>(-1)));
        EXPECT_EQ(defaultIni.ReadInt("s", "k", 0), 9);
        defaultIni.Open(name);
        EXPECT_EQ(defaultIni.ReadInt("s", "k", 0), 9) << "a file that is open already is no failure";
    }
    EXPECT_EQ(Z9IniIsOpened(), 1);
    EXPECT_EQ(Z9IniClose(), 0u);
}

TEST_F(Ini, ADefaultIniThatCannotBeOpenedTellsItsName)
{
    const std::string missing = files.Path("missing.ini");
    CZ9DefaultIni defaultIni;
    const Thrown thrown = ErrorOf([&] { defaultIni.Open(missing); });
    EXPECT_EQ(thrown.code, Z9ERR_INI_CANNOT_OPEN);
    EXPECT_THAT(thrown.text, HasSubstr("Open default ini file '" + missing + "' failed"));
    EXPECT_FALSE(defaultIni.IsOpen());
    EXPECT_EQ(Z9IniIsOpened(), 0);
}

} // namespace
} // namespace test::Kv7IniTest
