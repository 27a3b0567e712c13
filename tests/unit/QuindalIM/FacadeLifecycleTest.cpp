// Start, run and stop of the library through its exports, over a link that the test plays.
#include <cstdint>
#include <string>

#include <gmock/gmock.h>

#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "QuindalIM.h"
#include "Z9Ini.h"

namespace test::FacadeLifecycleTest {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class InitTest : public LibraryTest
{
protected:
    std::int32_t Init(const std::string& iniText)
    {
        return InitQuindalIM(folder.Write("test.ini", iniText).c_str(), "user", "secret");
    }
};
class StartedTest : public CalculatorTest
{};

TEST_F(InitTest, HandsTheSettingsToTheLinkAndGoesThroughItsSteps)
{
    ASSERT_EQ(Init("[QuindalIM::mq]\nport = 4001\ntimeout = 3000\n[QuindalIM::options]\nxmlPath = /tmp/copy.xml\n"), 0);
    EXPECT_EQ(TheLink().port, 4001);
    EXPECT_EQ(TheLink().timeout, 3000u);
    EXPECT_EQ(TheLink().xmlPath, "/tmp/copy.xml");
    EXPECT_EQ(TheLink().user, "user");
    EXPECT_EQ(TheLink().password, "secret");
    EXPECT_THAT(TheLink().steps, ElementsAre("Cleanup", "Startup", "Connect", "Login", "GetUserInfo"));
    EXPECT_THAT(log.Take(), ElementsAre("INFO [QuindalIM] MQ initializing ... port(4001), timeout(3000)"));
}

TEST_F(InitTest, HigherBitsOfThePortAreCut)
{
    ASSERT_EQ(Init("[QuindalIM::mq]\nport = 69537\ntimeout = 3000\n"), 0); // 65536 + 4001
    EXPECT_EQ(TheLink().port, 4001);
}

TEST_F(InitTest, NoFileAndNoDefaultFileIsAWrongArgumentWithItsReasonInTheLog)
{
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(InitQuindalIM(none, "user", "secret"), 94811);
        EXPECT_THAT(log.Take(),
                    ElementsAre(AllOf(HasSubstr("ERROR [QuindalIM] Caught exception while executing function "
                                                "InitQuindalIM: '"),
                                      HasSubstr("Ini file isn't passed and default ini file isn't opened"))));
    }
    EXPECT_THAT(TheLink().steps, IsEmpty());
}

TEST_F(InitTest, TheDefaultFileOfTheProcessServesWhereNoneIsNamed)
{
    ASSERT_EQ(Z9IniOpen(GoodIni().c_str()), 0u);
    EXPECT_EQ(InitQuindalIM(nullptr, "user", "secret"), 0);
    EXPECT_EQ(TheLink().port, 4001);
    EXPECT_EQ(Z9IniClose(), 0u);
}

TEST_F(InitTest, AFileThatDoesNotOpenGivesThePlatformsCode)
{
    EXPECT_EQ(InitQuindalIM(folder.File("missing.ini").c_str(), "user", "secret"),
              static_cast<std::int32_t>(Z9ERR_INI_CANNOT_OPEN));
}

TEST_F(InitTest, AMissingPortIsToldBeforeAMissingTimeout)
{
    EXPECT_EQ(Init("[QuindalIM::options]\n"), 94822);
    EXPECT_EQ(Init("[QuindalIM::mq]\ntimeout = 3000\n"), 94822);
    EXPECT_EQ(Init("[QuindalIM::mq]\nport = -1\ntimeout = 3000\n"), 94822) << "-1 cannot be told from a missing key";
    EXPECT_EQ(Init("[QuindalIM::mq]\nport = 4001\n"), 94823);
    EXPECT_THAT(TheLink().steps, IsEmpty());
}

TEST_F(InitTest, TheArgumentsAreLookedAtAfterTheLogsAreOpen)
{
    const std::string ini = GoodIni();
    EXPECT_EQ(InitQuindalIM(ini.c_str(), nullptr, nullptr), 94811);
    EXPECT_EQ(InitQuindalIM(ini.c_str(), "user", nullptr), 94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] InitQuindalIM: username is null",
                                        "INFO [QuindalIM] XP Log already opened",
                                        "ERROR [QuindalIM] InitQuindalIM: password is null"));
    EXPECT_THAT(TheLink().steps, IsEmpty());
    EXPECT_THAT(
        TraceOf("InitQuindalIM"),
        ElementsAre(HasSubstr("94811,QuindalIM wrong arguments,InitQuindalIM,@IniFile='" + ini + "',@username=NULL"),
                    HasSubstr("@username='user'")));
}

TEST_F(InitTest, TheTraceNeverShowsThePassword)
{
    ASSERT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 0);
    for (const std::string& line : folder.Lines("trace.log"))
        EXPECT_EQ(line.find("secret"), std::string::npos);
    EXPECT_THAT(TraceOf("InitQuindalIM"), ElementsAre(HasSubstr("00,,InitQuindalIM,@IniFile=")));
}

TEST_F(InitTest, ASecondInitIsRefusedAndChangesNothing)
{
    ASSERT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 0);
    static_cast<void>(log.Take());
    TheLink().steps.clear();
    EXPECT_EQ(InitQuindalIM(nullptr, nullptr, nullptr), 94809);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] QuindalIM library is already initialized (code 94809)"));
    EXPECT_THAT(TheLink().steps, IsEmpty());
}

TEST_F(InitTest, EachStepOfTheLoginHasItsCodeAndItsMessageAndLeavesACleanLink)
{
    struct Case
    {
        bool FakeLink::*step;
        const char* name;
        std::int32_t code;
        const char* message;
    };
    const Case cases[] = {
        {&FakeLink::startup, "Startup", 94814, "MQ core startup failed: the test says so ("},
        {&FakeLink::connect, "Connect", 94815, "MQ core connect failed: the test says so ("},
        {&FakeLink::login, "Login", 94816, "MQ core login failed: the test says so ("},
        {&FakeLink::userInfo, "GetUserInfo", 94817, "GetUserInfo failed: the test says so ("},
    };
    for (const Case& failing : cases) {
        TheLink() = FakeLink();
        TheLink().*failing.step = false;
        EXPECT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), failing.code) << failing.name;
        EXPECT_EQ(TheLink().steps.back(), "Cleanup") << failing.name;
        EXPECT_EQ(TheLink().steps.end()[-2], failing.name);
        EXPECT_THAT(log.Take().back(), HasSubstr(std::string("ERROR [QuindalIM] ") + failing.message));
        EXPECT_EQ(DeInitQuindalIM(), 94821) << "the library stays as it was";
    }
}

TEST_F(InitTest, AUserThatMayRegisterNobodyIsRefusedAfterTheLogin)
{
    for (const std::int32_t count : {0, -1}) {
        TheLink() = FakeLink();
        TheLink().partCount = count;
        EXPECT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 94824);
        EXPECT_EQ(log.Take().back(), "ERROR [QuindalIM] MQ core - Wrong part_count (" + std::to_string(count) + ")");
        EXPECT_EQ(TheLink().steps.back(), "Cleanup");
    }
}

TEST_F(InitTest, AFailedInitMayBeRepeated)
{
    TheLink().connect = false;
    ASSERT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 94815);
    TheLink().connect = true;
    EXPECT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 0);
}

TEST_F(InitTest, ASectionIsFoundByItsNameOrWhollyInLowerCaseButNotInCapitals)
{
    const std::string mq = "[QuindalIM::mq]\nport = 1\ntimeout = 1\n";
    const std::string file = "file = " + folder.File("trace.log") + "\n";
    ASSERT_EQ(Init(mq + "[QUINDALIM::XPLOG]\n" + file), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_THAT(folder.Lines("trace.log"), IsEmpty());

    ASSERT_EQ(Init(mq + "[quindalim::xplog]\n" + file), 0);
    EXPECT_THAT(TraceOf("InitQuindalIM"), SizeIs(1));
}

TEST_F(InitTest, TheLibrarysOwnLogIsOpenedFromItsSectionAndTakesTheMessages)
{
    kv7base::GetCustomLog().Close(); // the test's own capture
    ASSERT_EQ(Init("[QuindalIM::mq]\nport = 1\ntimeout = 1\n[quindalim::log]\nfile = " + folder.File("own.log") + "\n"),
              0);
    EXPECT_THAT(folder.Lines("own.log"),
                ElementsAre(HasSubstr("INFO [QuindalIM] MQ initializing ... port(1), timeout(1)")));
}

TEST_F(InitTest, ALogThatDoesNotOpenKeepsItsCodeAndSaysSo)
{
    EXPECT_EQ(Init("[QuindalIM::mq]\nport = 1\ntimeout = 1\n[QuindalIM::xplog]\nlevel = info\n"),
              static_cast<std::int32_t>(Z9ERR_LOG_CANNOT_OPEN));
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("Logs opening failed. ")));
}

TEST_F(InitTest, APathOfTheCopyThatIsTooLongIsLeftEmpty)
{
    const std::string mq = "[QuindalIM::mq]\nport = 1\ntimeout = 1\n[QuindalIM::options]\nxmlPath = ";
    ASSERT_EQ(Init(mq + std::string(4096, 'x') + "\n"), 0);
    EXPECT_EQ(TheLink().xmlPath.size(), 4096u) << "with its terminating zero it fills the 4097 bytes";
    ASSERT_EQ(DeInitQuindalIM(), 0);
    ASSERT_EQ(Init(mq + std::string(4097, 'x') + "\n"), 0);
    EXPECT_EQ(TheLink().xmlPath, "");
}

TEST_F(InitTest, TheLimitOfAReplyCanBeRaisedAndNothingElse)
{
    const struct
    {
        std::string value;
        std::size_t bytes;
    } cases[] = {
        {"268435457", 268'435'457},
        {"5000000000", 5'000'000'000}, // more than 32 bits
        {"268435456", 268'435'456},
        {"268435455", 268'435'456}, // below it
        {"1", 268'435'456},
        {"0", 268'435'456},
        {"-300000000", 268'435'456}, // no whole number
        {"+300000000", 268'435'456},
        {"3e9", 268'435'456},
        {"300000000.5", 268'435'456},
        {"300000000 bytes", 268'435'456},
        {"512MB", 268'435'456},
        {"99999999999999999999", 268'435'456}, // beyond every size
        {std::string(40, '9'), 268'435'456},
        {"", 268'435'456},
    };
    for (const auto& [value, bytes] : cases) {
        ASSERT_EQ(Init("[QuindalIM::mq]\nport = 1\ntimeout = 1\n[QuindalIM::options]\nmaxReplyBytes = " + value + "\n"),
                  0);
        EXPECT_EQ(TheLink().maxReplyBytes, bytes) << value;
        ASSERT_EQ(DeInitQuindalIM(), 0);
    }
    ASSERT_EQ(Init("[QuindalIM::mq]\nport = 1\ntimeout = 1\n"), 0);
    EXPECT_EQ(TheLink().maxReplyBytes, 268'435'456u) << "without the key, and after a start that raised it";
}

TEST_F(InitTest, ACalculatorNeedsAStartedLibraryAndLeavesTheHandleAlone)
{
    std::intptr_t calc = 77;
    EXPECT_EQ(CreateQuindalIMCalculator(&calc), 94821);
    EXPECT_EQ(calc, 77);
    EXPECT_EQ(DestroyQuindalIMCalculator(0), 94821) << "tested before the handle";
    EXPECT_EQ(DeInitQuindalIM(), 94821);
}

TEST_F(StartedTest, ThereIsOneCalculatorWhichIsDestroyedOnce)
{
    std::intptr_t again = 0;
    EXPECT_EQ(CreateQuindalIMCalculator(&again), 0);
    EXPECT_EQ(again, calc);
    EXPECT_EQ(DestroyQuindalIMCalculator(calc), 0);
    EXPECT_EQ(DestroyQuindalIMCalculator(calc), 94811);
    EXPECT_THAT(log.Take(),
                ElementsAre("ERROR [QuindalIM] DestroyQuindalIMCalculator: QuindalIMCalculator is not equal "
                            "to saved g_pCalcGOEx"));
    EXPECT_THAT(TraceOf("CreateQuindalIMCalculator").back(), HasSubstr("00,,CreateQuindalIMCalculator," + Handle()));
}

TEST_F(StartedTest, AZeroHandleIsRefusedInTheWordsOfDestroyAndOfTheGuard)
{
    EXPECT_EQ(DestroyQuindalIMCalculator(0), 94811);
    EXPECT_EQ(SetCommonParams(0, 0.5), 94811);
    EXPECT_THAT(log.Take(), ElementsAre("ERROR [QuindalIM] DestroyQuindalIMCalculator: QuindalIMCalculator is null",
                                        AllOf(HasSubstr("Caught exception while executing function SetCommonParams: '"),
                                              HasSubstr("QuindalIMCalculator can't be a null"))));
}

TEST_F(StartedTest, ACalculatorOutlivesDeInitAndIsFoundAgainWithItsContent)
{
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_EQ(TheLink().steps.back(), "Cleanup");
    std::int32_t count = 0;
    EXPECT_EQ(SetOnFirstCurrency(calc, &count), 94821);

    ASSERT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 0);
    std::intptr_t found = 0;
    ASSERT_EQ(CreateQuindalIMCalculator(&found), 0);
    EXPECT_EQ(found, calc);
    EXPECT_EQ(SetOnFirstCurrency(found, &count), 0);
    EXPECT_EQ(count, 1);
}

TEST_F(StartedTest, InstrumentsOutliveTheirCalculator)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    ASSERT_EQ(DestroyQuindalIMCalculator(calc), 0);
    ASSERT_EQ(CreateQuindalIMCalculator(&calc), 0);
    std::int32_t count = -1;
    EXPECT_EQ(SetOnFirstBaseContract(calc, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
    EXPECT_EQ(count, 0) << "the list of currencies went with the calculator";
    EXPECT_EQ(InsertCurrency(calc, 840, 0.05), 94791) << "and the currency did not";
}

TEST_F(StartedTest, DeInitSaysSoAndHasNoTraceLine)
{
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_THAT(log.Take(), ElementsAre("INFO [QuindalIM] DeInitQuindalIM"));
    EXPECT_THAT(TraceOf("DeInitQuindalIM"), IsEmpty());
    ASSERT_EQ(InitQuindalIM(GoodIni().c_str(), "user", "secret"), 0); // for the clearing at the end of the test
}

TEST_F(StartedTest, TheEdgeCoefficientComesBackAndABadOneIsReplacedInSilence)
{
    double edge = 0.0;
    EXPECT_EQ(GetCommonParams(calc, &edge), 0);
    EXPECT_EQ(edge, 0.75);
    EXPECT_EQ(SetCommonParams(calc, 0.5), 0);
    EXPECT_EQ(GetCommonParams(calc, &edge), 0);
    EXPECT_EQ(edge, 0.5);
    EXPECT_EQ(SetCommonParams(calc, -1.0), 0);
    EXPECT_EQ(GetCommonParams(calc, &edge), 0);
    EXPECT_EQ(edge, 0.75);
    EXPECT_EQ(TraceOf("GetCommonParams").back(), "00,,GetCommonParams," + Handle() + ",@EdgeCoeff=    0.750000");
}

TEST_F(StartedTest, ADownloadIsRefusedUntilEverythingIsCleared)
{
    TheLink().onDownload = [](QuindalIM::CCalcGOEx&) {};
    ASSERT_EQ(InsertCurrency(calc, 840, 0.05), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0) << "a currency alone does not stand in its way";
    EXPECT_EQ(calls::BaseContract(calc, "BC", "", -1), 94760);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995) << "not even a refused contract is forgotten";
    EXPECT_EQ(ClearParts(calc), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94995);
    EXPECT_EQ(ClearAll(calc), 0);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0);
}

TEST_F(StartedTest, ADownloadPassesTheMomentWithMillisecondsAndNullForNone)
{
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 0);
    EXPECT_EQ(TheLink().datetime, std::nullopt);
    EXPECT_EQ(GetInstrumentParameters(calc, ""), 0);
    EXPECT_EQ(TheLink().datetime, std::nullopt);
    EXPECT_EQ(GetInstrumentParameters(calc, "2026/11/21/10/15/30"), 0);
    EXPECT_EQ(TheLink().datetime, "2026/11/21/10/15/30/000");
    EXPECT_THAT(TraceOf("GetInstrumentParameters").back(), HasSubstr("@DataTime='2026/11/21/10/15/30'"));
}

TEST_F(StartedTest, ADownloadThatFailsTellsItsReasonInTheTrace)
{
    TheLink().download = false;
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), 94808);
    EXPECT_EQ(TraceOf("GetInstrumentParameters").back(),
              "94808,the test says so,GetInstrumentParameters," + Handle() + ",@DataTime=NULL");
    EXPECT_THAT(log.Take(), testing::IsEmpty()) << "what failed inside has logged itself";
}

TEST_F(StartedTest, AFuturesBeforeItsBaseContractIsLoggedWithBothCodes)
{
    const std::string ini = folder.Write("plain.ini", "[plain]\nfile = " + folder.File("plain.log") + "\n");
    Z9INI_HANDLE handle = nullptr;
    ASSERT_EQ(Z9IniCustOpen(&handle, ini.c_str()), 0u);
    static_cast<void>(Z9LogClose()); // the one that InitQuindalIM opened
    ASSERT_EQ(Z9LogOpenEx(handle, "plain"), 0u);
    ASSERT_EQ(Z9IniCustClose(handle), 0u);

    EXPECT_EQ(calls::Futures(calc, "FUT", "BC"), 94714);
    EXPECT_THAT(folder.Lines("plain.log"),
                ElementsAre(HasSubstr("Base contract (BC) not found while inserting futures (FUT)")));
}

} // namespace
} // namespace test::FacadeLifecycleTest
