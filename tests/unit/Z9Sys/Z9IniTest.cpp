// Ini files: reading, the default file, writing without losing anything, and handles that are none.
#include "Z9Ini.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TempDir.h"

namespace test::Z9IniTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// An open file that closes itself.
class Ini
{
public:
    explicit Ini(const std::string& path) { EXPECT_EQ(Z9IniCustOpen(&handle_, path.c_str()), 0u) << path; }
    ~Ini()
    {
        if (handle_ != nullptr) Z9IniCustClose(handle_);
    }
    Ini(const Ini&) = delete;
    Ini& operator=(const Ini&) = delete;

    operator Z9INI_HANDLE() const { return handle_; }

private:
    Z9INI_HANDLE handle_ = nullptr;
};

std::string Str(Z9INI_HANDLE ini, const char* section, const char* key, const char* defaultValue = "(none)")
{
    char buffer[256];
    const std::size_t needed = Z9IniCustGetStr(ini, buffer, sizeof buffer, section, key, defaultValue);
    EXPECT_EQ(needed, std::strlen(buffer) + 1);
    return buffer;
}

int Collect(const char* name, void* context)
{
    static_cast<std::vector<std::string>*>(context)->push_back(name);
    return 0;
}

std::vector<std::string> Sections(Z9INI_HANDLE ini)
{
    std::vector<std::string> names;
    EXPECT_EQ(Z9IniCustEnumSections(ini, Collect, &names), 0u);
    return names;
}

std::vector<std::string> Keys(Z9INI_HANDLE ini, const char* section)
{
    std::vector<std::string> names;
    EXPECT_EQ(Z9IniCustEnumKeys(ini, section, Collect, &names), 0u);
    return names;
}

constexpr char kSample[] = "; the terminal's settings\n"
                           "level = warning\n"
                           "\n"
                           "[QuindalIM]\n"
                           "# where the router listens\n"
                           "port = 4001\n"
                           "timeout=5000\n"
                           "  xmlPath  =  /var/lib/a b ; not a comment  \n"
                           "empty =\n"
                           "\n"
                           "[ QuindalIM::log ] whatever follows\n"
                           "file = im.log\n"
                           "formula = a=b\n"
                           "; the last words\n";

// Reading ------------------------------------------------------------------------------------------------------------

TEST(Z9IniTest, ValuesAreReadWithoutTheBlanksAroundThem)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", kSample));
    EXPECT_EQ(Str(ini, "QuindalIM", "port"), "4001");
    EXPECT_EQ(Str(ini, "QuindalIM", "xmlPath"), "/var/lib/a b ; not a comment");
    EXPECT_EQ(Str(ini, "QuindalIM", "empty"), "");
    EXPECT_EQ(Str(ini, "QuindalIM::log", "file"), "im.log");
    EXPECT_EQ(Str(ini, "QuindalIM::log", "formula"), "a=b");
}

TEST(Z9IniTest, KeysBeforeTheFirstSectionBelongToTheEmptyName)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", kSample));
    EXPECT_EQ(Str(ini, "", "level"), "warning");
    EXPECT_EQ(Str(ini, nullptr, "level"), "warning");
    EXPECT_THAT(Keys(ini, ""), ElementsAre("level"));
    EXPECT_EQ(Str(ini, "QuindalIM", "level"), "(none)");
}

TEST(Z9IniTest, NamesAreCaseSensitive)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "[Log]\nFile = 1\n[log]\nFile = 2\nfile = 3\n"));
    EXPECT_EQ(Str(ini, "Log", "File"), "1");
    EXPECT_EQ(Str(ini, "log", "File"), "2");
    EXPECT_EQ(Str(ini, "log", "file"), "3");
    EXPECT_EQ(Str(ini, "LOG", "File"), "(none)");
    EXPECT_EQ(Str(ini, "Log", "file"), "(none)");
}

TEST(Z9IniTest, NamesAreListedInFileOrder)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "x=0\n[zebra]\nz=1\nb=2\na=3\nb=4\n[apple]\n[Mango]\nk=1\n[zebra]\nc=5\n"));
    EXPECT_THAT(Sections(ini), ElementsAre("zebra", "apple", "Mango"));
    EXPECT_THAT(Keys(ini, "zebra"), ElementsAre("z", "b", "a", "c"));
    EXPECT_THAT(Keys(ini, "apple"), IsEmpty());
    EXPECT_THAT(Keys(ini, "nowhere"), IsEmpty());
}

TEST(Z9IniTest, ASectionThatStandsTwiceIsOneAndTheLastValueOfAKeyCounts)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "[s]\na=1\nb=1\n[t]\na=5\n[s]\nb=2\n"));
    EXPECT_EQ(Str(ini, "s", "a"), "1");
    EXPECT_EQ(Str(ini, "s", "b"), "2");
    EXPECT_EQ(Str(ini, "t", "a"), "5");
}

TEST(Z9IniTest, LineEndsOfAllSystemsAndAByteOrderMarkAreUnderstood)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "\xEF\xBB\xBFtop=0\r\n[s]\r\na=1\rb=2\n\nc=3"));
    EXPECT_EQ(Str(ini, "", "top"), "0");
    EXPECT_EQ(Str(ini, "s", "a"), "1");
    EXPECT_EQ(Str(ini, "s", "b"), "2");
    EXPECT_EQ(Str(ini, "s", "c"), "3");
    const Ini marked(dir.Write("b.ini", "\xEF\xBB\xBF[first]\nk=v\n"));
    EXPECT_THAT(Sections(marked), ElementsAre("first"));
}

TEST(Z9IniTest, LinesThatAreNothingAreIgnoredAndHarmNoOther)
{
    const TempDir dir;
    const std::string zero("nul=a\0b\n", 8);
    const Ini ini(
        dir.Write("a.ini", "[s]\na=1\nwords alone\n=no key\n[never closed\nb=2\n" + zero + "c=<<<TAG\nd=4\n"));
    EXPECT_THAT(Sections(ini), ElementsAre("s"));
    EXPECT_THAT(Keys(ini, "s"), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(Str(ini, "s", "c"), "<<<TAG");
}

TEST(Z9IniTest, AnEmptyFileIsAFile)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", ""));
    EXPECT_THAT(Sections(ini), IsEmpty());
    EXPECT_THAT(Keys(ini, ""), IsEmpty());
    EXPECT_EQ(Str(ini, "s", "k", "d"), "d");
}

TEST(Z9IniTest, IntegersAreDecimalAndWhole)
{
    const TempDir dir;
    const struct
    {
        const char* text;
        int32_t expected; // -7 is the default
    } cases[] = {
        {"0", 0},
        {"1", 1},
        {"-1", -1},
        {"+5", 5},
        {"007", 7},
        {"2147483647", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"2147483648", -7},
        {"99999999999999999999", -7},
        {"", -7},
        {"+", -7},
        {"+-5", -7},
        {"0x10", -7},
        {"12 34", -7},
        {"12a", -7},
        {"1.0", -7},
        {"true", -7},
    };
    for (const auto& c : cases) {
        const Ini ini(dir.Write("a.ini", std::string("[s]\nk = ") + c.text + "\n"));
        EXPECT_EQ(Z9IniCustGetInt(ini, "s", "k", -7), c.expected) << "'" << c.text << "'";
    }
}

TEST(Z9IniTest, TwoDefaultsTellAMissingKeyFromAPresentOne)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "[s]\none = 1\n"));
    EXPECT_EQ(Z9IniCustGetInt(ini, "s", "one", 1), 1);
    EXPECT_EQ(Z9IniCustGetInt(ini, "s", "one", 2), 1);
    EXPECT_EQ(Z9IniCustGetInt(ini, "s", "none", 1), 1);
    EXPECT_EQ(Z9IniCustGetInt(ini, "s", "none", 2), 2);
    EXPECT_EQ(Z9IniCustGetInt(ini, "no section", "one", 2), 2);
    EXPECT_EQ(Z9IniCustGetInt(ini, "s", nullptr, 2), 2);
}

TEST(Z9IniTest, TheSizeOfTheWholeValueComesBackWhateverFits)
{
    const TempDir dir;
    const std::string longValue(600, 'v');
    const Ini ini(dir.Write("a.ini", "[s]\nlong = " + longValue + "\n"));
    char buffer[601];
    EXPECT_EQ(Z9IniCustGetStr(ini, buffer, 512, "s", "long", ""), 601u);
    EXPECT_EQ(std::string(buffer), std::string(511, 'v'));
    EXPECT_EQ(Z9IniCustGetStr(ini, buffer, 601, "s", "long", ""), 601u);
    EXPECT_EQ(std::string(buffer), longValue);
    EXPECT_EQ(Z9IniCustGetStr(ini, nullptr, 0, "s", "long", ""), 601u);
    EXPECT_EQ(Z9IniCustGetStr(ini, buffer, 3, "s", "none", "default"), 8u);
    EXPECT_STREQ(buffer, "de");
    EXPECT_EQ(Z9IniCustGetStr(ini, buffer, 3, "s", "none", nullptr), 1u);
    EXPECT_STREQ(buffer, "");
}

TEST(Z9IniTest, AWalkEndsWhereTheCallbackSaysAndMayReadTheFile)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "[a]\nk=1\n[b]\nk=2\n[c]\nk=3\n"));
    struct Walk
    {
        Z9INI_HANDLE ini;
        int sum;
    } walk{ini, 0};
    const auto untilB = [](const char* name, void* context) {
        auto* seen = static_cast<Walk*>(context);
        seen->sum += Z9IniCustGetInt(seen->ini, name, "k", 100);
        return std::string(name) == "b" ? 1 : 0;
    };
    EXPECT_EQ(Z9IniCustEnumSections(ini, untilB, &walk), 12u);
    EXPECT_EQ(walk.sum, 3); // 1 + 2, and never the third
    EXPECT_EQ(Z9IniCustEnumKeys(
                  ini, "a", [](const char*, void*) { return -1; }, nullptr),
              12u);
}

// Opening ------------------------------------------------------------------------------------------------------------

TEST(Z9IniTest, WhatIsNoReadableRegularFileIsNotOpenedAndLeavesTheHandle)
{
    const TempDir dir;
    const std::string pipe = dir.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string huge = dir.Write("huge.ini", "[s]\n");
    std::filesystem::resize_file(huge, 17 * 1024 * 1024);
    int marker = 0;
    for (const std::string& path : {dir.File("missing.ini"), dir.File(""), dir.File("no/such/folder.ini"), pipe, huge,
                                    std::string("/dev/zero"), std::string()}) {
        Z9INI_HANDLE handle = &marker;
        EXPECT_EQ(Z9IniCustOpen(&handle, path.c_str()), Z9ERR_INI_CANNOT_OPEN) << path;
        EXPECT_EQ(handle, &marker) << path;
    }
}

TEST(Z9IniTest, HandlesThatAreNotOpenGiveACodeAndNeverACrash)
{
    const TempDir dir;
    Z9INI_HANDLE closed = nullptr;
    ASSERT_EQ(Z9IniCustOpen(&closed, dir.Write("a.ini", "[s]\nk=1\n").c_str()), 0u);
    ASSERT_EQ(Z9IniCustClose(closed), 0u);
    int marker = 0;
    for (const Z9INI_HANDLE handle : {Z9INI_HANDLE{nullptr}, closed, static_cast<Z9INI_HANDLE>(&marker)}) {
        EXPECT_EQ(Z9IniCustClose(handle), 2u);
        EXPECT_EQ(Z9IniCustGetInt(handle, "s", "k", -7), -7);
        EXPECT_EQ(Str(handle, "s", "k", "d"), "d");
        EXPECT_EQ(Z9IniCustWriteInt(handle, "s", "k", 1), 2u);
        EXPECT_EQ(Z9IniCustWriteStr(handle, "s", "k", "v"), 2u);
        EXPECT_EQ(Z9IniCustEnumSections(handle, Collect, nullptr), 2u);
        EXPECT_EQ(Z9IniCustEnumKeys(handle, "s", Collect, nullptr), 2u);
    }
}

TEST(Z9IniTest, NullArgumentsAreRefused)
{
    const TempDir dir;
    const Ini ini(dir.Write("a.ini", "[s]\nk=1\n"));
    Z9INI_HANDLE handle = nullptr;
    EXPECT_EQ(Z9IniOpen(nullptr), 2u);
    EXPECT_EQ(Z9IniCustOpen(&handle, nullptr), 2u);
    EXPECT_EQ(Z9IniCustOpen(nullptr, dir.File("a.ini").c_str()), 2u);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", nullptr, "v"), 2u);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", nullptr), 2u);
    EXPECT_EQ(Z9IniCustEnumSections(ini, nullptr, nullptr), 2u);
    EXPECT_EQ(Z9IniCustEnumKeys(ini, "s", nullptr, nullptr), 2u);
}

TEST(Z9IniTest, TheDefaultFileIsReachedByItsMarker)
{
    const TempDir dir;
    EXPECT_EQ(Z9IniIsOpened(), 0);
    EXPECT_EQ(Z9IniClose(), Z9ERR_INI_NOT_OPENED);
    EXPECT_EQ(Z9IniCustClose(Z9INI_DEFAULT), Z9ERR_INI_NOT_OPENED);
    EXPECT_EQ(Z9IniCustGetInt(Z9INI_DEFAULT, "s", "k", -7), -7);
    EXPECT_EQ(Z9IniCustWriteInt(Z9INI_DEFAULT, "s", "k", 1), Z9ERR_INI_NOT_OPENED);
    EXPECT_EQ(Z9IniCustEnumSections(Z9INI_DEFAULT, Collect, nullptr), Z9ERR_INI_NOT_OPENED);
    EXPECT_EQ(Z9IniOpen(dir.File("missing").c_str()), Z9ERR_INI_CANNOT_OPEN);
    EXPECT_EQ(Z9IniIsOpened(), 0);

    ASSERT_EQ(Z9IniOpen(dir.Write("a.ini", "[s]\nk=1\n").c_str()), 0u);
    EXPECT_EQ(Z9IniIsOpened(), 1);
    EXPECT_EQ(Z9IniCustGetInt(Z9INI_DEFAULT, "s", "k", -7), 1);
    EXPECT_THAT(Sections(Z9INI_DEFAULT), ElementsAre("s"));
    EXPECT_EQ(Z9IniCustWriteInt(Z9INI_DEFAULT, "s", "k", 2), 0u);
    EXPECT_EQ(Z9IniCustGetInt(Z9INI_DEFAULT, "s", "k", -7), 2);
    EXPECT_EQ(Z9IniClose(), 0u);
    EXPECT_EQ(Z9IniIsOpened(), 0);

    ASSERT_EQ(Z9IniOpen(dir.File("a.ini").c_str()), 0u);
    EXPECT_EQ(Z9IniCustClose(Z9INI_DEFAULT), 0u);
    EXPECT_EQ(Z9IniIsOpened(), 0);
}

TEST(Z9IniTest, ASecondOpenOfTheDefaultFileChangesNothing)
{
    const TempDir dir;
    ASSERT_EQ(Z9IniOpen(dir.Write("a.ini", "[s]\nk=1\n").c_str()), 0u);
    EXPECT_EQ(Z9IniOpen(dir.Write("b.ini", "[s]\nk=2\n").c_str()), 0x4000u);
    EXPECT_EQ(Z9IniOpen("missing"), 0x4000u);
    EXPECT_EQ(Z9IniCustGetInt(Z9INI_DEFAULT, "s", "k", -7), 1);
    EXPECT_EQ(Z9IniClose(), 0u);
}

// Writing ------------------------------------------------------------------------------------------------------------

TEST(Z9IniTest, AWriteChangesItsLineAndNothingElse)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", kSample);
    {
        const Ini ini(path);
        EXPECT_EQ(Z9IniCustWriteInt(ini, "QuindalIM", "port", 4002), 0u);
        EXPECT_EQ(Z9IniCustWriteStr(ini, "QuindalIM", "xmlPath", "/tmp"), 0u);
        EXPECT_EQ(Z9IniCustWriteStr(ini, "QuindalIM", "empty", "full"), 0u);
        EXPECT_EQ(Z9IniCustWriteStr(ini, "", "level", "error"), 0u);
        EXPECT_EQ(Z9IniCustGetInt(ini, "QuindalIM", "port", -1), 4002);
    }
    EXPECT_EQ(ReadFile(path), "; the terminal's settings\n"
                              "level = error\n"
                              "\n"
                              "[QuindalIM]\n"
                              "# where the router listens\n"
                              "port = 4002\n"
                              "timeout=5000\n"
                              "  xmlPath  =  /tmp\n"
                              "empty = full\n"
                              "\n"
                              "[ QuindalIM::log ] whatever follows\n"
                              "file = im.log\n"
                              "formula = a=b\n"
                              "; the last words\n");
}

TEST(Z9IniTest, NewKeysGoBehindTheLastOfTheirSectionAndNewSectionsToTheEnd)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "[s]\na=1\n; note\n\n[t]\nb=2");
    {
        const Ini ini(path);
        EXPECT_EQ(Z9IniCustWriteInt(ini, "s", "new", -5), 0u);
        EXPECT_EQ(Z9IniCustWriteStr(ini, "t", "c", "3"), 0u);
        EXPECT_EQ(Z9IniCustWriteStr(ini, "u", "d", "4"), 0u);
        EXPECT_EQ(Z9IniCustWriteStr(ini, "", "top", "0"), 0u);
        EXPECT_THAT(Sections(ini), ElementsAre("s", "t", "u"));
        EXPECT_EQ(Z9IniCustGetInt(ini, "s", "new", 0), -5);
    }
    EXPECT_EQ(ReadFile(path), "top = 0\n[s]\na=1\nnew = -5\n; note\n\n[t]\nb=2\nc = 3\n\n[u]\nd = 4\n");
}

TEST(Z9IniTest, TheFirstWriteIntoAnEmptyFileMakesItsSection)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "");
    const Ini ini(path);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", ""), 0u);
    EXPECT_EQ(ReadFile(path), "[s]\nk = \n");
    EXPECT_EQ(Str(ini, "s", "k"), "");
}

TEST(Z9IniTest, LineEndsMarksAndBrokenLinesSurviveAWrite)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "\xEF\xBB\xBF; top\r\n[s]\r\nnonsense\r\na=1\r\n");
    const Ini ini(path);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "a", "2"), 0u);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "b", "3"), 0u);
    EXPECT_EQ(ReadFile(path), "\xEF\xBB\xBF; top\r\n[s]\r\nnonsense\r\na=2\r\nb = 3\r\n");
}

TEST(Z9IniTest, AKeyThatBeginsLikeAByteOrderMarkIsReadBack)
{
    const TempDir dir;
    for (const char* before : {"", "[s]\nk=v\n", "\xEF\xBB\xBF[s]\nk=v\n"}) {
        const Ini ini(dir.Write("a.ini", before));
        EXPECT_EQ(Z9IniCustWriteStr(ini, "", "\xEF\xBB\xBFkey", "1"), 0u);
        EXPECT_EQ(Str(ini, "", "\xEF\xBB\xBFkey"), "1") << before;
        EXPECT_EQ(Z9IniCustWriteStr(ini, "", "\xEF\xBB\xBFkey", "2"), 0u);
        EXPECT_EQ(Str(ini, "", "\xEF\xBB\xBFkey"), "2") << before;
    }
    EXPECT_EQ(ReadFile(dir.File("a.ini")), "\xEF\xBB\xBF\xEF\xBB\xBFkey = 2\n[s]\nk=v\n");
}

TEST(Z9IniTest, AKeyThatStandsTwiceIsWrittenWhereItCounts)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "[s]\nk=1\n[t]\nk=9\n[s]\nk=2\n");
    const Ini ini(path);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", "3"), 0u);
    EXPECT_EQ(ReadFile(path), "[s]\nk=1\n[t]\nk=9\n[s]\nk=3\n");
    EXPECT_EQ(Str(ini, "s", "k"), "3");
}

TEST(Z9IniTest, WhatWouldNotBeReadBackIsNotWritten)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", kSample);
    const Ini ini(path);
    for (const char* section : {"a]b", "a\nb", " a", "a "})
        EXPECT_EQ(Z9IniCustWriteStr(ini, section, "k", "v"), 2u) << section;
    for (const char* key : {"", "a=b", "a\nb", ";a", "#a", "[a", " a", "a\t"})
        EXPECT_EQ(Z9IniCustWriteStr(ini, "s", key, "v"), 2u) << key;
    for (const char* value : {"a\nb", "a\rb", " a", "a ", "\n"})
        EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", value), 2u) << value;
    EXPECT_EQ(ReadFile(path), kSample);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k;#[", "v = ; # [x]"), 0u);
    EXPECT_EQ(Str(ini, "s", "k;#["), "v = ; # [x]");
}

TEST(Z9IniTest, TwoHandlesOnOneFileDoNotUndoEachOther)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "[s]\n");
    const Ini first(path);
    const Ini second(path);
    EXPECT_EQ(Z9IniCustWriteStr(first, "s", "a", "1"), 0u);
    EXPECT_EQ(Z9IniCustWriteStr(second, "s", "b", "2"), 0u);
    EXPECT_EQ(ReadFile(path), "[s]\na = 1\nb = 2\n");
    EXPECT_EQ(Str(second, "s", "a"), "1");
}

TEST(Z9IniTest, WritesOfManyThreadsAllArrive)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "[s]\n");
    const Ini ini(path);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&ini, t] {
            for (int i = 0; i < 10; ++i) {
                std::string key("k");
                key += std::to_string(t * 10 + i);
                EXPECT_EQ(Z9IniCustWriteInt(ini, "s", key.c_str(), i), 0u);
                EXPECT_EQ(Z9IniCustGetInt(ini, "s", key.c_str(), -1), i);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Keys(ini, "s").size(), 40u);
}

TEST(Z9IniTest, AWriteKeepsRightsAndLinksAndLeavesNoDraft)
{
    const TempDir dir;
    const std::string path = dir.Write("real.ini", "[s]\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    const std::string link = dir.File("link.ini");
    std::filesystem::create_symlink(path, link);
    const Ini ini(link);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", "v"), 0u);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(ReadFile(path), "[s]\nk = v\n");
    struct stat status
    {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0640u);
    const auto entries = std::filesystem::directory_iterator(std::filesystem::path(path).parent_path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 2);
}

TEST(Z9IniTest, AFileThatIsGoneCannotBeWrittenAndKeepsItsValues)
{
    const TempDir dir;
    const std::string path = dir.Write("a.ini", "[s]\nk=1\n");
    const Ini ini(path);
    std::filesystem::remove(path);
    EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", "2"), Z9ERR_INI_CANNOT_WRITE);
    EXPECT_EQ(Str(ini, "s", "k"), "1");
}

TEST(Z9IniTest, ARelativePathStaysGoodWhenTheProcessMoves)
{
    const TempDir dir;
    const TempDir elsewhere;
    const std::filesystem::path before = std::filesystem::current_path();
    const std::string path = dir.Write("a.ini", "[s]\n");
    std::filesystem::current_path(std::filesystem::path(path).parent_path());
    {
        const Ini ini("a.ini");
        std::filesystem::current_path(std::filesystem::path(elsewhere.File("x")).parent_path());
        EXPECT_EQ(Z9IniCustWriteStr(ini, "s", "k", "v"), 0u);
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(ReadFile(path), "[s]\nk = v\n");
}

} // namespace
} // namespace test::Z9IniTest
