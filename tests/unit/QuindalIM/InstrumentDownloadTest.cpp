// The instrument download over a queue that the test plays: what is asked, what each reply makes of the calculator.
#include "Z9MQCore.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "DownloadFixture.h"
#include "OnlineTimer.h"

namespace test::InstrumentDownloadTest {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using InstrumentDownloadTest = DownloadFixture;

// The request

TEST_F(InstrumentDownloadTest, TheMessageSays109AndItsDocument103)
{
    ASSERT_TRUE(Download(PlainReply("<root/>")));
    ASSERT_EQ(TheQueue().requests.size(), 1u);
    const SentRequest& request = TheQueue().requests.front();
    EXPECT_EQ(request.texts.at("Z9_To"), "z9.svc.kv7go_srv_60");
    EXPECT_EQ(request.texts.at("Z9_From"), "kv7go");
    EXPECT_EQ(request.texts.at("Z9_Category"), "kv7go");
    EXPECT_EQ(request.texts.at("Z9_Type"), "109");
    EXPECT_EQ(request.texts.at("snappy_support"), "1");
    EXPECT_EQ(request.timeout, 3000u);
    EXPECT_EQ(request.body, "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                            "<root><RequestInstruments msg_type=\"103\"/></root>");
    EXPECT_THAT(TheQueue().properties,
                ElementsAre("Z9_To", "Z9_From", "Z9_Category", "Z9_Type", "snappy_support", "body"));
    EXPECT_THAT(log.Take(), ElementsAre("INFO [QuindalIM] RequestInstruments without datetime"));
}

TEST_F(InstrumentDownloadTest, AMomentGoesOutBehindTheType)
{
    ASSERT_TRUE(Download(PlainReply("<root/>"), "2026/11/20/18/45/00/000"));
    EXPECT_EQ(TheQueue().requests.front().body,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<root><RequestInstruments msg_type=\"103\" datetime=\"2026/11/20/18/45/00/000\"/></root>");
    EXPECT_THAT(log.Take(), ElementsAre("INFO [QuindalIM] RequestInstruments with datetime: 2026/11/20/18/45/00/000"));
}

TEST_F(InstrumentDownloadTest, AMomentWithMarkupIsEscaped)
{
    ASSERT_TRUE(Download(PlainReply("<root/>"), "\"<&>"));
    EXPECT_THAT(TheQueue().requests.front().body, HasSubstr("datetime=\"&quot;&lt;&amp;&gt;\""));
}

TEST_F(InstrumentDownloadTest, WithoutASessionNothingIsAsked)
{
    TheQueue().status = 0x00010002;
    EXPECT_FALSE(core.GetInstrumentParameters(calculator, nullptr));
    EXPECT_EQ(LastError(), "System is not logged");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);

    core.Cleanup();
    EXPECT_FALSE(core.GetInstrumentParameters(calculator, nullptr));
    EXPECT_EQ(LastError(), "Connection is not initialized");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    EXPECT_THAT(TheQueue().requests, IsEmpty());
}

TEST_F(InstrumentDownloadTest, AfterAFailedCheckThereIsNoConnection)
{
    MoveClock(std::chrono::seconds(20));
    TheQueue().send = Z9ERR_MQ_NOT_CONNECTED_YET;
    ASSERT_FALSE(core.CheckPing());
    TheQueue().send = Z9ERR_OK;
    EXPECT_FALSE(core.GetInstrumentParameters(calculator, nullptr));
    EXPECT_EQ(LastError(), "Connection is not initialized");
}

TEST_F(InstrumentDownloadTest, ARequestThatCannotBeMadeOrSentSaysSo)
{
    TheQueue().createMessage = Z9ERR_COMMON_NO_MEMORY;
    EXPECT_FALSE(core.GetInstrumentParameters(calculator, nullptr));
    EXPECT_EQ(LastError(), "Could not create message for server");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_NO_MEMORY);

    TheQueue().createMessage = Z9ERR_OK;
    for (const char* property : {"Z9_To", "Z9_From", "Z9_Category", "Z9_Type", "snappy_support", "body"}) {
        core.SetLastError("", Z9ERR_OK);
        TheQueue().refusedProperty = property;
        EXPECT_FALSE(core.GetInstrumentParameters(calculator, nullptr)) << property;
        EXPECT_EQ(LastError(), "Could not compose message for server") << property;
    }
    EXPECT_THAT(TheQueue().requests, IsEmpty());

    TheQueue().refusedProperty.clear();
    TheQueue().send = Z9ERR_COMMON_INTERNAL_ERROR;
    EXPECT_FALSE(core.GetInstrumentParameters(calculator, nullptr));
    EXPECT_EQ(LastError(), "Could not send message for server");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_INTERNAL_ERROR);
}

TEST_F(InstrumentDownloadTest, TheExchangeIsMeasured)
{
    const auto hits = [] {
        const std::lock_guard lock(vxl_COnlineTimer::timers_mutex);
        for (const vxl_COnlineTimer* timer : vxl_COnlineTimer::timers)
            if (timer->name == "Z9MQSendMsg in CZ9MQCore::GetInstrumentParameters") return timer->hitCount;
        return std::int64_t{0};
    };
    const std::int64_t before = hits();
    ASSERT_TRUE(Download(PlainReply("<root/>")));
    EXPECT_EQ(hits(), before + 1);
}

// The reply

TEST_F(InstrumentDownloadTest, AReplyOfAnotherTypeIsNoAnswer)
{
    for (const std::uint32_t type : {104u, 112u, 109u, 0u}) {
        PlainMessage reply = PlainReply("<root/>");
        reply.numbers["Z9_Type"] = type;
        EXPECT_FALSE(Download(reply)) << type;
        EXPECT_EQ(LastError(), "Could not retrieve message from server") << type;
        EXPECT_EQ(core.GetLastErrorCode(), 0u) << type;
    }
}

TEST_F(InstrumentDownloadTest, ASystemMessageNamesTheRoutersError)
{
    EXPECT_FALSE(Download(SystemError(Z9ERR_MQ_TIMEOUT))); // 0x6001
    EXPECT_EQ(LastError(),
              "Could not retrieve message from server; Response not received in specified timeout or router "
              "error occurred; Z9ERR 24577");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
}

TEST_F(InstrumentDownloadTest, APlainReplyNeedsNoSizes)
{
    ASSERT_TRUE(Download(PlainReply(Document({currency}))));
    EXPECT_EQ(instruments.CountCurrency(), 1u);

    PlainMessage silent = PlainReply(Document({currency}));
    silent.numbers.erase("snappy_support");
    ASSERT_TRUE(Download(silent)) << "a server that knows nothing of compression";
    EXPECT_EQ(instruments.CountCurrency(), 1u);
}

TEST_F(InstrumentDownloadTest, ACompressedReplyIsUnpackedAndItsSizesAreLogged)
{
    const PlainMessage reply = CompressedReply(Document({currency, baseContract, futures}));
    ASSERT_TRUE(Download(reply));
    EXPECT_EQ(instruments.CountFutures(), 1u);
    const std::vector<std::string> lines = log.Take();
    const auto size = [&reply](const char* name) { return std::to_string(reply.numbers.at(name)); };
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "INFO [QuindalIM] CZ9MQCore::GetInstrumentParameters::decompressedSize - " +
                            size("snappy_decompressedSize"));
    EXPECT_EQ(lines[1],
              "INFO [QuindalIM] CZ9MQCore::GetInstrumentParameters::compressedSize - " + size("snappy_compressedSize"));
    EXPECT_EQ(lines[2], "INFO [QuindalIM] RequestInstruments without datetime");
}

// Unpacked, and before anything is made of it: what cannot be parsed is read as well.
TEST_F(InstrumentDownloadTest, AReaderGetsTheTextOfEachReply)
{
    std::vector<std::string> read;
    core.SetReplyReader([&](std::string_view document) { read.emplace_back(document); });
    ASSERT_TRUE(Download(CompressedReply(Document({currency}))));
    ASSERT_TRUE(Download(PlainReply("<root/>")));
    EXPECT_FALSE(Download(PlainReply("<root>")));
    EXPECT_THAT(read, ElementsAre(Document({currency}), "<root/>", "<root>"));

    core.SetReplyReader([](std::string_view) { throw std::runtime_error("the reader"); });
    EXPECT_FALSE(Download(PlainReply(Document({currency}))));
    EXPECT_EQ(LastError(), "the reader");

    core.SetReplyReader({});
    ASSERT_TRUE(Download(PlainReply("<root/>")));
    EXPECT_EQ(read.size(), 3u);
}

TEST_F(InstrumentDownloadTest, AnyNumberButZeroSaysCompressed)
{
    PlainMessage reply = CompressedReply("<root/>");
    reply.numbers["snappy_support"] = 4294967295u;
    EXPECT_TRUE(Download(reply));
}

TEST_F(InstrumentDownloadTest, TheCompressedSizeIsOnlyLogged)
{
    PlainMessage reply = CompressedReply("<root/>");
    reply.numbers["snappy_compressedSize"] += 1;
    EXPECT_TRUE(Download(reply));
}

TEST_F(InstrumentDownloadTest, ASizeThatTheBlockDoesNotHaveIsRefused)
{
    const std::string xml = Document({currency}); // its size S is in the block
    PlainMessage reply = CompressedReply(xml);
    reply.numbers["snappy_decompressedSize"] += 1;
    EXPECT_FALSE(Download(reply));
    EXPECT_EQ(LastError(), "Unexpected uncompressed message size");
    EXPECT_THAT(log.Take(),
                Contains("ERROR [QuindalIM] Received corrupted message: expected and real uncompressed message "
                         "size do not match: expected " +
                         std::to_string(xml.size() + 1) + ", got " + std::to_string(xml.size()) + " (code 3)"));
    EXPECT_EQ(instruments.CountCurrency(), 0u);
}

TEST_F(InstrumentDownloadTest, ABlockThatHidesItsSizeIsRefused)
{
    PlainMessage reply = CompressedReply("<root/>");
    for (const std::string& body : {std::string(), std::string("\xFF\xFF\xFF\xFF\xFF\xFF", 6)}) {
        reply.body = body;
        EXPECT_FALSE(Download(reply));
        EXPECT_EQ(LastError(), "Unexpected uncompressed message size");
        EXPECT_THAT(log.Take(), Contains(EndsWith("expected 7, got 0 (code 3)")));
    }
}

TEST_F(InstrumentDownloadTest, AMissingSizeIsASizeOfZero)
{
    PlainMessage reply = CompressedReply("<root/>");
    reply.numbers.erase("snappy_decompressedSize");
    EXPECT_FALSE(Download(reply));
    EXPECT_EQ(LastError(), "Unexpected uncompressed message size");
}

TEST_F(InstrumentDownloadTest, ACorruptBlockCannotBeProcessed)
{
    PlainMessage reply = CompressedReply(Document({currency, baseContract, futures}));
    reply.body.resize(reply.body.size() / 2); // the size at its front is right
    EXPECT_FALSE(Download(reply));
    EXPECT_EQ(LastError(), "Could not process message from server");
}

TEST_F(InstrumentDownloadTest, ABlockThatClaimsFourGigabytesTakesNoMemory)
{
    PlainMessage reply = CompressedReply("<root/>");
    reply.body = std::string("\xFF\xFF\xFF\xFF\x0F", 5); // the greatest size that a block can state, and nothing else
    reply.numbers["snappy_decompressedSize"] = 4294967295u;
    EXPECT_FALSE(Download(reply));
    EXPECT_EQ(LastError(), "Could not process message from server");
}

// What a reply may unpack to

/// A reply that unpacks to this many bytes: the currency, then blanks. Its block has a size far below.
PlainMessage ReplyOfSize(std::size_t size)
{
    std::string xml = "<root>" + currency.Xml();
    xml.resize(size - std::string_view("</root>").size(), ' ');
    return CompressedReply(xml + "</root>");
}

TEST_F(InstrumentDownloadTest, ATextBeyondTheLimitIsNotTaken)
{
    core.SetMaxReplyBytes(100'000);
    for (const bool isCompressed : {true, false}) {
        const auto reply = [isCompressed](std::size_t size) {
            const PlainMessage compressed = ReplyOfSize(size);
            std::string text;
            snappy::Uncompress(compressed.body.data(), compressed.body.size(), &text);
            return isCompressed ? compressed : PlainReply(text);
        };
        ASSERT_TRUE(Download(reply(100'000))) << LastError();
        EXPECT_EQ(instruments.CountCurrency(), 1u);
        static_cast<void>(log.Take());
        EXPECT_FALSE(Download(reply(100'001)));
        EXPECT_EQ(LastError(), "Could not process message from server");
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_INTERNAL_ERROR);
        EXPECT_EQ(instruments.CountCurrency(), 1u) << "those of the last good one";
    }
}

/// A good block of so many bytes, a twentieth as long: its size, seven bits a byte from the lowest on, sixty blanks as
/// they are, and copies of them of at most 64.
std::string BlockOfBlanks(std::uint32_t size)
{
    std::string block;
    for (std::uint32_t rest = size; rest != 0; rest >>= 7)
        block += static_cast<char>(rest < 0x80 ? rest : (rest & 0x7F) | 0x80);
    block += static_cast<char>((60 - 1) << 2);
    block += std::string(60, ' ');
    const auto copy = [](std::uint32_t length) { // from sixty bytes back, which stand in two bytes
        return std::string{static_cast<char>(((length - 1) << 2) | 2), static_cast<char>(60), '\0'};
    };
    const std::uint32_t copied = size - 60;
    const std::string whole = copy(64);
    block.reserve(block.size() + whole.size() * (copied / 64 + 1));
    for (std::uint32_t done = 0; done + 64 <= copied; done += 64)
        block += whole;
    return copied % 64 == 0 ? block : block + copy(copied % 64);
}

TEST_F(InstrumentDownloadTest, WithoutASettingTheLimitIs256Megabytes)
{
    static_assert(QuindalIM::DefaultMaxReplyBytes == 268'435'456);
    PlainMessage reply = CompressedReply("<root/>");
    reply.body = BlockOfBlanks(268'435'457);
    reply.numbers["snappy_decompressedSize"] = 268'435'457;
    ASSERT_TRUE(snappy::IsValidCompressedBuffer(reply.body.data(), reply.body.size()));
    EXPECT_FALSE(Download(reply));
    EXPECT_EQ(LastError(), "Could not process message from server");

    reply.body = BlockOfBlanks(100'000); // the same with fewer is only no document
    reply.numbers["snappy_decompressedSize"] = 100'000;
    EXPECT_FALSE(Download(reply));
    EXPECT_EQ(LastError(), "No such node (root)");
}

TEST_F(InstrumentDownloadTest, AnEmptyRootIsAnEmptyMarket)
{
    ASSERT_TRUE(Download(PlainReply("<root/>")));
    ASSERT_TRUE(Download(CompressedReply("<root></root>")));
    EXPECT_EQ(calculator.SetOnFirstBaseContract(), 0);
    EXPECT_TRUE(calculator.IsEmpty());
}

// The copy

class XmlCopyTest : public DownloadFixture
{
protected:
    XmlCopyTest()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quindal-copy-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
        folder = name;
    }
    ~XmlCopyTest() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    [[nodiscard]] std::string Copy() const
    {
        std::ostringstream text;
        text << std::ifstream(folder / "copy.xml", std::ios::binary).rdbuf();
        return text.str();
    }

    std::filesystem::path folder;
};

TEST_F(XmlCopyTest, TheDocumentIsCopiedByteForByteOverTheLastOne)
{
    LogIn(folder / "copy.xml");
    const std::string first = Document({currency, baseContract});
    ASSERT_TRUE(Download(CompressedReply(first)));
    EXPECT_EQ(Copy(), first) << "unpacked";
    ASSERT_TRUE(Download(PlainReply("<root>\r\n</root>")));
    EXPECT_EQ(Copy(), "<root>\r\n</root>");
}

TEST_F(XmlCopyTest, ADocumentThatCannotBeReadIsCopiedForInspection)
{
    LogIn(folder / "copy.xml");
    EXPECT_FALSE(Download(PlainReply("<root")));
    EXPECT_EQ(Copy(), "<root");
}

/// Permissions of a file, 0 when there is none.
unsigned PermissionsOf(const std::filesystem::path& file)
{
    struct stat status = {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

TEST_F(XmlCopyTest, OthersMayNotReadTheCopy)
{
    LogIn(folder / "copy.xml");
    for (const auto& [umask, expected] : {std::pair{0000U, 0640U}, {0022U, 0640U}, {0027U, 0640U}, {0077U, 0600U}}) {
        std::filesystem::remove(folder / "copy.xml");
        const mode_t before = ::umask(umask);
        EXPECT_TRUE(Download(PlainReply("<root/>")));
        ::umask(before);
        EXPECT_EQ(PermissionsOf(folder / "copy.xml"), expected) << "umask " << umask;
    }
}

TEST_F(XmlCopyTest, ACopyThatIsThereKeepsItsPermissionsButForThoseOfOthers)
{
    LogIn(folder / "copy.xml");
    for (const auto& [given, expected] : {std::pair{0644U, 0640U}, {0600U, 0600U}, {0660U, 0640U}, {0440U, 0440U}}) {
        std::filesystem::remove(folder / "copy.xml");
        std::ofstream(folder / "copy.xml") << "an older one";
        ASSERT_EQ(::chmod((folder / "copy.xml").c_str(), given), 0);
        EXPECT_TRUE(Download(PlainReply("<root/>")));
        EXPECT_EQ(PermissionsOf(folder / "copy.xml"), expected) << given;
        EXPECT_EQ(Copy(), "<root/>") << given;
    }
}

TEST_F(XmlCopyTest, ALinkStaysOneAndWhatItLeadsToIsReplaced)
{
    std::filesystem::create_directory(folder / "there");
    std::filesystem::create_symlink("there/copy.xml", folder / "near.xml"); // to nothing yet
    std::filesystem::create_symlink(folder / "near.xml", folder / "copy.xml");
    LogIn(folder / "copy.xml");
    for (const char* document : {"<root/>", "<root ></root>"}) {
        EXPECT_TRUE(Download(PlainReply(document)));
        EXPECT_EQ(Copy(), document);
    }
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "copy.xml"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "near.xml"));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(folder / "there" / "copy.xml")));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "there"), {}), 1) << "nothing is left beside";
}

TEST_F(XmlCopyTest, OnlyARegularFileIsWrittenAndNothingIsWaitedFor)
{
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0); // nobody reads it
    std::filesystem::create_directory(folder / "directory");
    std::filesystem::create_symlink(folder / "pipe", folder / "link");
    std::filesystem::create_symlink(folder / "circle", folder / "circle");
    const auto before = std::distance(std::filesystem::directory_iterator(folder), {});
    for (const std::string& path :
         {(folder / "pipe").string(), (folder / "link").string(), (folder / "directory").string(),
          (folder / "circle").string(), std::string("/dev/null"), (folder / "").string()}) {
        LogIn(path);
        EXPECT_TRUE(Download(PlainReply("<root/>"))) << path;
        EXPECT_THAT(log.Take(),
                    Contains("WARNING [QuindalIM] CZ9MQCore::GetInstrumentParameters: the reply could not be "
                             "copied to " +
                             path));
    }
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), before) << "nothing is left beside";
}

TEST_F(XmlCopyTest, AGoodCopyStaysWhereTheNewOneHasNoRoom)
{
    LogIn(folder / "copy.xml");
    ASSERT_TRUE(Download(PlainReply("<root/>")));

    struct rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit then fails like a full disk
    struct rlimit small = before;
    small.rlim_cur = 1000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_TRUE(Download(PlainReply("<root>" + std::string(2000, ' ') + "</root>")));
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    EXPECT_THAT(log.Take(), Contains(AllOf(StartsWith("WARNING [QuindalIM]"), EndsWith("copy.xml"))));
    EXPECT_EQ(Copy(), "<root/>");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "nothing is left beside";
}

TEST_F(XmlCopyTest, ACopyThatCannotBeWrittenIsAWarningAndNoFailure)
{
    const std::string path = folder / "no such folder" / "copy.xml";
    LogIn(path);
    EXPECT_TRUE(Download(PlainReply("<root/>")));
    EXPECT_THAT(log.Take(), Contains(AllOf(StartsWith("WARNING [QuindalIM]"), EndsWith(path))));
}

// What becomes of each element

TEST_F(InstrumentDownloadTest, CommonParametersSetTheEdgeCoefficient)
{
    ASSERT_TRUE(Download({Element("CommonParameters", {{"EdgeCoeff", "0.50"}})}));
    EXPECT_EQ(calculator.GetCommonParams(), 0.5);
    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetCommonParameters(row, false));
    EXPECT_EQ(row, "0.50") << "the server's own text";
}

TEST_F(InstrumentDownloadTest, AnEdgeCoefficientOfZeroIsAQuarterInTheRepositoryAndInTheTable)
{
    for (const char* zero : {"0", "0.0", "-0", "0e5"}) {
        ASSERT_TRUE(Download({Element("CommonParameters", {{"EdgeCoeff", zero}})})) << zero;
        EXPECT_EQ(calculator.GetCommonParams(), 0.25) << zero;
        std::string row;
        ASSERT_TRUE(calculator.GetTablesData().GetCommonParameters(row, false));
        EXPECT_EQ(row, "0.25") << zero;
    }
}

TEST_F(InstrumentDownloadTest, ANegativeEdgeCoefficientIsCorrectedByTheRepositoryOnly)
{
    ASSERT_TRUE(Download({Element("CommonParameters", {{"EdgeCoeff", "-1"}})}));
    EXPECT_EQ(calculator.GetCommonParams(), 0.75);
    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetCommonParameters(row, false));
    EXPECT_EQ(row, "-1");
}

TEST_F(InstrumentDownloadTest, ACurrencyGoesIntoTheRepositoryAndTheTable)
{
    ASSERT_TRUE(Download({currency}));
    EXPECT_EQ(instruments.GetCurvatureRadius(840), 0.045);
    EXPECT_EQ(calculator.SetOnFirstCurrency(), 1);
    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetNextCurrency(row, false));
    EXPECT_EQ(row, "840;0.045");
}

TEST_F(InstrumentDownloadTest, EachAttributeOfABaseContractFindsItsField)
{
    ASSERT_TRUE(Download({currency, baseContract})) << LastError();
    const kv7im::CSpecBaseContract* contract = instruments.GetBaseContract(kv7im::AccessByStatus::eCurrent, "BC");
    ASSERT_NE(contract, nullptr);
    EXPECT_EQ(contract->CodeMCS, "GROUP");
    EXPECT_EQ(contract->VolatNum, 5);
    EXPECT_EQ(contract->MSPTypeVal, Enums::MSPType::CurrencyIndicatorPriceStep);
    EXPECT_EQ(contract->ShortOptionMinimumCharge, 0.125);
    EXPECT_EQ(contract->IndicatorID, 840);
    const double risks[5][3] = {
        {0.10, 0.11, 0.12}, {0.13, 0.14, 0.15}, {0.16, 0.17, 0.18}, {0.19, 0.20, 0.21}, {0.22, 0.23, 0.24}};
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        const auto& expected = risks[static_cast<int>(level)];
        EXPECT_EQ(contract->MarketRisk[level], expected[0]) << static_cast<int>(level);
        EXPECT_EQ(contract->MarketRisk1[level], expected[1]) << static_cast<int>(level);
        EXPECT_EQ(contract->MarketRisk2[level], expected[2]) << static_cast<int>(level);
    }
    EXPECT_EQ(contract->ConcentrationLimit1, 60000);
    EXPECT_EQ(contract->ConcentrationLimit2, 5000000000);
    EXPECT_EQ(contract->RiskPointsN, 40);
    EXPECT_EQ(contract->WindowSizePercentage, 0.25);
    EXPECT_EQ(contract->optionModel, Enums::OptionModel::Bachelier);
    EXPECT_EQ(contract->SpotPrice, 101.5);
    EXPECT_EQ(contract->assetClass, Enums::AssetClass::Commodity);
    EXPECT_EQ(contract->CFRisk, 0.0625);

    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetNextBaseContract(row, false));
    EXPECT_EQ(row, "BC;GROUP;5;1;0.125;840;0.10;0.11;0.12;0.13;0.14;0.15;0.16;0.17;0.18;0.19;0.20;0.21;0.22;0.23;0.24;"
                   "60000;5000000000;40;0.25;1;101.5;5;0.0625");
}

TEST_F(InstrumentDownloadTest, EachAttributeOfAFuturesFindsItsField)
{
    ASSERT_TRUE(Download({currency, baseContract, futures})) << LastError();
    const kv7im::CSpecFutures* found = instruments.GetFutures("FUT-12.26");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->CodeBC, "BC");
    EXPECT_EQ(found->isin, 2) << "the calculator's own number: the base contract took 1";
    EXPECT_EQ(found->TASBaseFutIsinID, 0);
    EXPECT_EQ(found->CalcFutPrice, 1002.5);
    EXPECT_TRUE(found->IsInSpread);
    EXPECT_EQ(found->MinStepPrice, 12.5);
    EXPECT_EQ(found->RealCalcPrice, 1001.25);
    EXPECT_EQ(found->MinStep, 0.5);
    EXPECT_EQ(found->XLot, 7.0);
    EXPECT_EQ(found->InterestRateRiskUp, 0.03);
    EXPECT_EQ(found->InterestRateRiskDown, 0.025);
    EXPECT_EQ(found->TimeToExpiration, 0.0712);
    EXPECT_EQ(found->NormalizedSpot, 1015.0);
    EXPECT_EQ(found->Attribute, Enums::InstrumentStatus::MainREPO);
    EXPECT_EQ(found->MRAddOnUp, 0.01);
    EXPECT_EQ(found->MRAddOnDown, 0.02);
    EXPECT_TRUE(found->EnforceIMSHalfNetting);

    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetNextFutures(row, false));
    EXPECT_EQ(row, "FUT-12.26;BC;1002.5;2;12.5;;1001.25;2026-12-17 19:00:00;0.5;8;7;0.03;0.025;0.0712;1015;1024;0.01;"
                   "0.02;1");
    int isin = 1001;
    std::string code;
    ASSERT_TRUE(calculator.GetRealIsinStorage().Find(isin, code));
    EXPECT_EQ(code, "FUT-12.26");
}

TEST_F(InstrumentDownloadTest, PricesOfAFuturesPassThroughFixedPoint)
{
    // Five digits behind the point, halves away from zero: 1002.123455 becomes 1002.12346 (its double is a little above
    // the half), 1001.000004 becomes 1001.
    ASSERT_TRUE(Download(
        {currency, baseContract, futures.With("CalcFutPrice", "1002.1234551").With("RealCalcPrice", "1001.000004")}));
    const kv7im::CSpecFutures* found = instruments.GetFutures("FUT-12.26");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->CalcFutPrice, 1002.12346);
    EXPECT_EQ(found->RealCalcPrice, 1001.0);
}

TEST_F(InstrumentDownloadTest, APriceThatIsNoNumberOrTooLargeFailsWithTheCodeOfItsConversion)
{
    EXPECT_FALSE(Download({currency, baseContract, futures.With("CalcFutPrice", "nan")}));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
    EXPECT_FALSE(Download({currency, baseContract, futures.With("RealCalcPrice", "1e12")})); // 11 digits in front
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_OVERFLOW);
}

TEST_F(InstrumentDownloadTest, ATradeAtSettlementFuturesIsTiedToItsBaseByCode)
{
    // 1048576 is the trade-at-settlement bit.
    const Element tas = futures.With("Code", "TAS")
                            .With("Isin", "1002")
                            .With("Attribute", "1048576")
                            .With("TASBaseFutCode", "FUT-12.26");
    ASSERT_TRUE(Download({currency, baseContract, futures, tas})) << LastError();
    const kv7im::CSpecFutures* found = instruments.GetFutures("TAS");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->TASBaseFutIsinID, instruments.GetFutures("FUT-12.26")->isin);
}

TEST_F(InstrumentDownloadTest, BothFormsOfATimeAreReadAndNoOther)
{
    EXPECT_TRUE(Download({currency, baseContract, futures.With("ExpiredDate", "2026/12/17/19/00/00/000")}));
    EXPECT_TRUE(Download({currency, baseContract, futures.With("ExpiredDate", "2026-12-17 19:00:00.500")}));
    for (const char* text : {"", "17.12.2026", "2026-13-17 19:00:00", "2026-12-17"}) {
        EXPECT_FALSE(Download({currency, baseContract, futures.With("ExpiredDate", text)})) << text;
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_WRONG_ARGUMENTS) << text;
        EXPECT_EQ(instruments.CountFutures(), 0u) << text;
    }
}

TEST_F(InstrumentDownloadTest, SpotAndLotAreReadThoughTheMarginHasNoUseForThem)
{
    for (const char* name : {"Spot", "Lot"}) {
        EXPECT_FALSE(Download({currency, baseContract, futures.With(name, "x")})) << name;
        EXPECT_THAT(LastError(), HasSubstr("String \"x\" should not contain characters")) << name;
        EXPECT_FALSE(Download({currency, baseContract, futures.Without(name)})) << name;
        EXPECT_THAT(LastError(), HasSubstr(std::string("No such node (<xmlattr>.") + name + ")"));
    }
}

TEST_F(InstrumentDownloadTest, TagsAreFoundWithoutRegardToCaseAndOthersPassedOver)
{
    std::string xml = Document({currency, baseContract, futures});
    const auto replace = [&xml](const std::string& from, const std::string& to) {
        xml.replace(xml.find(from), from.size(), to);
    };
    replace("<Currency", "<!-- a comment --><Session Code=\"S\"/>text<CURRENCY");
    replace("<BaseContract", "<basecontract");
    replace("<Futures", "<Future/><FuTures");
    ASSERT_TRUE(Download(PlainReply(xml))) << LastError();
    EXPECT_EQ(instruments.CountFutures(), 1u);
}

TEST_F(InstrumentDownloadTest, AttributesAreFoundByTheirExactNamesInAnyOrder)
{
    EXPECT_TRUE(Download({Element("Currency", {{"Radius", "0.5"}, {"Extra", "x"}, {"IndicatorID", "1"}})}));
    EXPECT_FALSE(Download({Element("Currency", {{"radius", "0.5"}, {"IndicatorID", "1"}})}));
}

// Failures

TEST_F(InstrumentDownloadTest, EveryAttributeIsRequired)
{
    for (const std::string& name : baseContract.Names()) {
        EXPECT_FALSE(Download({currency, baseContract.Without(name)})) << name;
        EXPECT_THAT(LastError(), HasSubstr("No such node (<xmlattr>." + name + ")"));
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
        std::string row;
        EXPECT_FALSE(calculator.GetTablesData().GetNextBaseContract(row, false)) << "no row without " << name;
    }
    for (const std::string& name : futures.Names()) {
        EXPECT_FALSE(Download({currency, baseContract, futures.Without(name)})) << name;
        EXPECT_THAT(LastError(), HasSubstr("No such node (<xmlattr>." + name + ")"));
    }
    for (const std::string& name : currency.Names())
        EXPECT_FALSE(Download({currency.Without(name)})) << name;
    EXPECT_FALSE(Download({Element("CommonParameters", {})}));
}

TEST_F(InstrumentDownloadTest, TheFirstMissingAttributeIsTheOneThatIsNamed)
{
    EXPECT_FALSE(Download({currency, baseContract.Without("CFRisk").Without("VolatNum").Without("SpotPrice")}));
    EXPECT_THAT(LastError(), HasSubstr("VolatNum"));
    EXPECT_FALSE(Download({currency, baseContract, futures.Without("XLot").Without("Spot").Without("ExpiredDate")}));
    EXPECT_THAT(LastError(), HasSubstr("ExpiredDate"));
}

TEST_F(InstrumentDownloadTest, EveryNumberMustBeANumber)
{
    const auto isText = [](const std::string& name) {
        return name.find("Code") != std::string::npos || name == "ExpiredDate";
    };
    for (const std::string& name : baseContract.Names()) {
        if (isText(name)) continue;
        EXPECT_FALSE(Download({currency, baseContract.With(name, "1..")})) << name;
        EXPECT_THAT(LastError(),
                    HasSubstr("String \"1..\" should not contain characters except for representation of"));
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
    }
    for (const std::string& name : futures.Names()) {
        if (isText(name)) continue;
        EXPECT_FALSE(Download({currency, baseContract, futures.With(name, "1..")})) << name;
        EXPECT_THAT(LastError(),
                    HasSubstr("String \"1..\" should not contain characters except for representation of"));
    }
}

TEST_F(InstrumentDownloadTest, ANumberBeyondItsTypeSurfacesAsTheStandardException)
{
    EXPECT_FALSE(Download({currency, baseContract.With("VolatNum", "300")}));
    EXPECT_EQ(LastError(), "stol");
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    EXPECT_THAT(log.Take(), Contains("ERROR [QuindalIM] CZ9MQCore::GetInstrumentParameters Exception: - stol"));
}

TEST_F(InstrumentDownloadTest, ACodeIsAtMostTwentyFiveCharacters)
{
    const std::string fits(25, 'B');
    EXPECT_TRUE(Download({currency, baseContract.With("Code", fits), futures.With("CodeBC", fits)})) << LastError();
    EXPECT_FALSE(Download({currency, baseContract.With("Code", fits + "B")})) << "cut off it would name another one";
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_BUFFER_TOO_SMALL);
    EXPECT_EQ(instruments.CountBaseContract(), 0u);
}

TEST_F(InstrumentDownloadTest, ARefusedCurrencyFailsWithItsCodeAndId)
{
    EXPECT_FALSE(Download({currency, currency}));
    EXPECT_THAT(LastError(),
                HasSubstr("CZ9MQCore::GetInstrumentParameters::InsertCurrency with IndicatorID: 840 - failed"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST);
    const std::vector<std::string> lines = log.Take();
    EXPECT_THAT(lines, Contains("ERROR [QuindalIM] CZ9MQCore::GetInstrumentParameters error - " + LastError()));
    std::string row;
    EXPECT_TRUE(calculator.GetTablesData().GetNextCurrency(row, false));
    EXPECT_FALSE(calculator.GetTablesData().GetNextCurrency(row, false)) << "the refused one has no row";
}

TEST_F(InstrumentDownloadTest, ARefusedBaseContractFailsWithItsCode)
{
    EXPECT_FALSE(Download({currency, baseContract.With("ConcentrationLimit1", "-1")}));
    EXPECT_THAT(LastError(),
                HasSubstr("CZ9MQCore::GetInstrumentParameters::InsertBaseContractEx with code: BC - failed"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE);
}

TEST_F(InstrumentDownloadTest, AFuturesBeforeItsBaseContractFailsTheDownload)
{
    EXPECT_FALSE(Download({currency, futures, baseContract}));
    EXPECT_THAT(LastError(),
                HasSubstr("CZ9MQCore::GetInstrumentParameters::InsertFutures with code: FUT-12.26 - failed"));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_CALCGO_API_ERROR_BC_NOT_FOUND);
    int isin = 1001;
    EXPECT_FALSE(calculator.GetRealIsinStorage().Find(isin));
}

TEST_F(InstrumentDownloadTest, WhatWentInBeforeAFailureStays)
{
    EXPECT_FALSE(Download({currency, baseContract, futures, futures.With("CodeBC", "NONE"), futures}));
    EXPECT_EQ(instruments.CountFutures(), 1u);
    EXPECT_FALSE(calculator.IsEmpty());
}

TEST_F(InstrumentDownloadTest, ADownloadReplacesWhatTheCalculatorHolds)
{
    ASSERT_EQ(calculator.InsertCurrency(978, 0.5), Z9ERR_OK);
    calculator.SetCommonParams(0.5);
    ASSERT_TRUE(Download({currency}));
    EXPECT_FALSE(instruments.HasCurrency(978));
    EXPECT_TRUE(instruments.HasCurrency(840));
    EXPECT_EQ(calculator.GetCommonParams(), 0.75) << "the default, as the reply says nothing";
    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetNextCurrency(row, false));
    EXPECT_FALSE(calculator.GetTablesData().GetNextCurrency(row, false));
}

TEST_F(InstrumentDownloadTest, ADocumentThatCannotBeParsedLeavesTheCalculatorAsItWas)
{
    ASSERT_EQ(calculator.InsertCurrency(978, 0.5), Z9ERR_OK);
    for (const char* xml : {"<root", "<root><Currency/>", "no markup", "<root><Currency IndicatorID=1/></root>"}) {
        EXPECT_FALSE(Download(PlainReply(xml))) << xml;
        EXPECT_THAT(LastError(), StartsWith("Could not parse message from server. ")) << xml;
        const std::string parserText = LastError().substr(LastError().find(". ") + 2);
        EXPECT_THAT(
            log.Take(),
            Contains("ERROR [QuindalIM] CZ9MQCore::GetInstrumentParameters XMLReader: Exception: - " + parserText))
            << xml;
        EXPECT_TRUE(instruments.HasCurrency(978)) << xml;
    }
}

TEST_F(InstrumentDownloadTest, TheParserNamesTheLineAndWhatIsWrongThere)
{
    EXPECT_FALSE(Download(PlainReply("<root>\n<a></b>\n</root>")));
    EXPECT_THAT(LastError(), StartsWith("Could not parse message from server. <unspecified file>(2): "));
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
    EXPECT_FALSE(Download(CompressedReply("<root>\n\n<Currency Radius=\"&no;\"/></root>")));
    EXPECT_EQ(LastError(), "Could not parse message from server. <unspecified file>(3): a reference stands for no "
                           "character");
}

TEST_F(InstrumentDownloadTest, ElementsMayBeNestedAsDeepAsTheyLike)
{
    std::string xml = "<root>" + currency.Xml();
    for (int level = 0; level < 200'000; ++level)
        xml += "<a>";
    EXPECT_FALSE(Download(PlainReply(xml)));
    EXPECT_THAT(LastError(), StartsWith("Could not parse message from server. "));
    for (int level = 0; level < 200'000; ++level)
        xml += "</a>";
    EXPECT_TRUE(Download(PlainReply(xml + "</root>"))) << LastError();
    EXPECT_EQ(instruments.CountCurrency(), 1u);
}

TEST_F(InstrumentDownloadTest, InstrumentsInsideOtherElementsAreNotRoots)
{
    const std::string hidden = "<Session>" + currency.Xml() + "<root>" + currency.Xml() + "</root></Session>";
    ASSERT_TRUE(Download(PlainReply("<root>" + hidden + "</root>"))) << LastError();
    EXPECT_EQ(instruments.CountCurrency(), 0u);
}

TEST_F(InstrumentDownloadTest, ReferencesOfTheServerStandForTheirCharacters)
{
    ASSERT_TRUE(Download({currency, baseContract.With("CodeMCS", "A&amp;B&#x20AC;")})) << LastError();
    EXPECT_EQ(instruments.GetBaseContract(kv7im::AccessByStatus::eCurrent, "BC")->CodeMCS, "A&B\xE2\x82\xAC");
    std::string row;
    ASSERT_TRUE(calculator.GetTablesData().GetNextBaseContract(row, false));
    EXPECT_THAT(row, StartsWith("BC;A&B\xE2\x82\xAC;5;"));
}

TEST_F(InstrumentDownloadTest, ADocumentWithoutItsRootFails)
{
    for (const char* xml : {"", "<Root/>", "<other><Currency/></other>"}) {
        EXPECT_FALSE(Download(PlainReply(xml))) << xml;
        EXPECT_EQ(LastError(), "No such node (root)") << xml;
        EXPECT_THAT(log.Take(),
                    Contains("ERROR [QuindalIM] CZ9MQCore::GetInstrumentParameters Exception: - No such node (root)"));
    }
}

TEST_F(InstrumentDownloadTest, PercentSignsOfTheServerAreNoFormats)
{
    EXPECT_FALSE(Download({currency, futures.With("Code", "%s%n%d")}));
    EXPECT_THAT(log.Take(), Contains(HasSubstr("InsertFutures with code: %%s%%n%%d - failed")))
        << "doubled by the error";
    EXPECT_FALSE(Download({currency.With("Radius", "%s%n")}));
    EXPECT_THAT(log.Take(), Contains(HasSubstr("String \"%%s%%n\" should not contain")));
    ASSERT_TRUE(Download(PlainReply("<root/>"), "%s%n"));
    EXPECT_THAT(log.Take(), Contains("INFO [QuindalIM] RequestInstruments with datetime: %s%n"));
}

} // namespace
} // namespace test::InstrumentDownloadTest
