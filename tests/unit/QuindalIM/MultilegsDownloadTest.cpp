// Multilegs of a download: the rows of their legs, what is left out, the codes that come of them.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "DownloadFixture.h"
#include "except.h"
#include "instruments/SpecMultileg.h"

namespace test::MultilegsDownloadTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

/// The near leg of the multileg 7001, and the futures FUT-12.26 with the isin 1001 of the server.
const Element nearLeg("Multileg", {{"Isin", "7001"},
                                   {"IsinLeg", "1001"},
                                   {"LegOrderNum", "1"},
                                   {"LegsQuantity", "2"},
                                   {"QuantityRatio", "-2"},
                                   {"CodeLeg", "FUT-12.26"}});
const Element farLeg =
    nearLeg.With("IsinLeg", "1002").With("LegOrderNum", "2").With("QuantityRatio", "3").With("CodeLeg", "FUT-3.27");
const Element farFutures = futures.With("Code", "FUT-3.27").With("Isin", "1002").With("TimeToExpiration", "0.32");
const Element farthestFutures = futures.With("Code", "FUT-6.27").With("Isin", "1003").With("TimeToExpiration", "0.57");

class MultilegsDownloadTest : public DownloadFixture
{
protected:
    /// Three futures (isins 2, 3 and 4 of the calculator) and what stands above them, then the given elements.
    bool DownloadOnFutures(const std::vector<Element>& elements)
    {
        std::vector<Element> all{currency, baseContract, futures, farFutures, farthestFutures};
        all.insert(all.end(), elements.begin(), elements.end());
        return Download(all);
    }
    /// Rows of the table from its front.
    std::vector<std::string> Rows()
    {
        std::vector<std::string> rows;
        calculator.GetTablesData().SetOnFirstMultileg();
        for (std::string row; calculator.GetTablesData().GetNextMultileg(row, false);)
            rows.push_back(row);
        return rows;
    }
    std::vector<std::string> Listed()
    {
        std::vector<std::string> codes;
        calculator.SetOnFirstMultileg();
        for (std::string code; calculator.GetNextMultileg(code) == Z9ERR_OK;)
            codes.push_back(code);
        return codes;
    }
    [[nodiscard]] const kv7im::CSpecMultileg* Find(const char* code) const
    {
        int isin = 0;
        double price = 0.0;
        if (calculator.GetIsinAndCalcPriceByCode(code, isin, price) != Z9ERR_OK) return nullptr;
        return instruments.GetMultileg(isin);
    }
};

std::string NoSuchFutures(const std::string& codeLeg)
{
    return "ERROR [QuindalIM] CZ9MQCore::GetInstrumentParameters::InsertMultileg with code: " + codeLeg +
           " - no such futures (code " + std::to_string(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS) + ")";
}

TEST_F(MultilegsDownloadTest, TwoRowsMakeOneMultilegWithACodeAndARowOfText)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg, farLeg})) << LastError();
    const kv7im::CSpecMultileg* const multileg = Find("FUT-12.26-3.27");
    ASSERT_NE(multileg, nullptr);
    EXPECT_EQ(multileg->GetMultilegIsin(), 5) << "the next one of the calculator, not the server's";
    EXPECT_EQ(multileg->GetFirstLegIsin(), 2);
    EXPECT_EQ(multileg->qtyRatio1, -2);
    EXPECT_EQ(multileg->legOrderNum1, 1);
    EXPECT_EQ(multileg->GetSecondLegIsin(), 3);
    EXPECT_EQ(multileg->qtyRatio2, 3);
    EXPECT_EQ(multileg->legOrderNum2, 2);
    EXPECT_TRUE(multileg->GetCompleted());
    EXPECT_THAT(Listed(), ElementsAre("FUT-12.26-3.27"));
    EXPECT_THAT(Rows(), ElementsAre("FUT-12.26-3.27"));
    EXPECT_THAT(log.Take(), Not(Contains(HasSubstr("ERROR"))));
}

TEST_F(MultilegsDownloadTest, RowsMayComeInAnyOrderAndMixed)
{
    ASSERT_TRUE(DownloadOnFutures({farLeg, nearLeg.With("Isin", "7002").With("IsinLeg", "1002"),
                                   farLeg.With("Isin", "7002").With("IsinLeg", "1003"), nearLeg}))
        << LastError();
    EXPECT_THAT(Rows(), UnorderedElementsAre("FUT-12.26-3.27", "FUT-3.27-6.27"));
    EXPECT_EQ(Rows(), Listed());
    EXPECT_EQ(Find("FUT-12.26-3.27")->GetFirstLegIsin(), 2);
    EXPECT_EQ(Find("FUT-3.27-6.27")->GetSecondLegIsin(), 4);
}

TEST_F(MultilegsDownloadTest, ARowOfAnUnknownLegIsLoggedByItsCodeAndTheDownloadGoesOn)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg.With("IsinLeg", "999").With("CodeLeg", "OLD-9.26"), farLeg,
                                   nearLeg.With("Isin", "7002"), farLeg.With("Isin", "7002")}))
        << LastError();
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("RequestInstruments"), NoSuchFutures("OLD-9.26")));
    EXPECT_THAT(Rows(), ElementsAre("FUT-12.26-3.27")) << "of 7002; the other leg of 7001 is left alone and dropped";
    EXPECT_EQ(instruments.CountMultilegs(), 1u);
}

TEST_F(MultilegsDownloadTest, ALegThatComesBehindItsRowIsUnknownThen)
{
    ASSERT_TRUE(Download({currency, baseContract, futures, nearLeg, farLeg, farFutures})) << LastError();
    EXPECT_THAT(log.Take(), Contains(NoSuchFutures("FUT-3.27")));
    EXPECT_THAT(Rows(), IsEmpty());
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
    EXPECT_NE(instruments.GetFutures("FUT-3.27"), nullptr);
}

TEST_F(MultilegsDownloadTest, LegsAreFoundByTheIsinOfTheServerWhateverTheirCodeSays)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg.With("CodeLeg", ""), farLeg.With("CodeLeg", "nonsense")})) << LastError();
    EXPECT_THAT(Rows(), ElementsAre("FUT-12.26-3.27"));
}

TEST_F(MultilegsDownloadTest, RowsOfALoneLegJoinNoOtherMultileg)
{
    std::vector<Element> rows;
    for (int isin = 8000; isin < 8020; ++isin) // more than any order of a hash map could hide
        rows.push_back(nearLeg.With("Isin", std::to_string(isin)).With("LegOrderNum", isin % 2 == 0 ? "1" : "2"));
    rows.insert(rows.begin() + 10, {nearLeg, farLeg});
    ASSERT_TRUE(DownloadOnFutures(rows)) << LastError();
    EXPECT_THAT(Rows(), ElementsAre("FUT-12.26-3.27"));
    EXPECT_EQ(instruments.CountMultilegs(), 1u);
    EXPECT_EQ(calculator.GetIsin("next"), 6);
}

TEST_F(MultilegsDownloadTest, AMultilegOfOneOrderNumberIsClosedAndTheNextOneIsWhole)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg, farLeg.With("LegOrderNum", "1"), nearLeg.With("Isin", "7002"),
                                   farLeg.With("Isin", "7002").With("IsinLeg", "1003")}))
        << LastError();
    EXPECT_THAT(Rows(), UnorderedElementsAre("FUT-3.27-3.27", "FUT-12.26-6.27"))
        << "the first one of the row that goes in first, its last";
    EXPECT_THAT(log.Take(), ElementsAre(HasSubstr("RequestInstruments"))) << "without a word";
}

TEST_F(MultilegsDownloadTest, TagsAreFoundWithoutRegardToCase)
{
    const auto retagged = [](const std::string& xml, const std::string& tag) {
        return "<" + tag + xml.substr(xml.find(' '));
    };
    std::string xml = Document({currency, baseContract, futures, farFutures});
    xml.insert(xml.find("</root>"), retagged(nearLeg.Xml(), "MULTILEG") + retagged(farLeg.Xml(), "multileg") +
                                        retagged(nearLeg.Xml(), "MultilegDictionary"));
    ASSERT_TRUE(Download(PlainReply(xml))) << LastError();
    EXPECT_THAT(Rows(), ElementsAre("FUT-12.26-3.27"));
}

TEST_F(MultilegsDownloadTest, ADownloadReplacesTheListAndTheTable)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg, farLeg}));
    ASSERT_TRUE(DownloadOnFutures({nearLeg, farLeg.With("IsinLeg", "1003")})) << LastError();
    EXPECT_THAT(Listed(), ElementsAre("FUT-12.26-6.27"));
    EXPECT_THAT(Rows(), ElementsAre("FUT-12.26-6.27"));
    EXPECT_EQ(instruments.CountMultilegs(), 1u);
    EXPECT_EQ(Find("FUT-12.26-3.27"), nullptr);
}

TEST_F(MultilegsDownloadTest, AfterADownloadTheCursorWaitsToBeSetOnFirst)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg, farLeg}));
    std::string code;
    EXPECT_EQ(calculator.GetNextMultileg(code), Z9ERR_QUINDAL_IM_END_OF_DATA);
}

// Failures

TEST_F(MultilegsDownloadTest, EveryAttributeIsRequired)
{
    for (const std::string& name : nearLeg.Names()) {
        EXPECT_FALSE(DownloadOnFutures({farLeg, nearLeg.Without(name)})) << name;
        EXPECT_THAT(LastError(), HasSubstr("No such node (<xmlattr>." + name + ")"));
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_NOT_OK);
        EXPECT_EQ(instruments.CountMultilegs(), 0u) << name;
    }
}

TEST_F(MultilegsDownloadTest, AttributesAreReadInTheOrderOfTheExchange)
{
    const std::vector<std::string> order{"Isin", "IsinLeg", "LegOrderNum", "LegsQuantity", "QuantityRatio", "CodeLeg"};
    for (std::size_t first = 0; first < order.size(); ++first) {
        Element row = nearLeg;
        for (std::size_t i = first; i < order.size(); ++i)
            row = row.Without(order[i]);
        EXPECT_FALSE(DownloadOnFutures({row}));
        EXPECT_THAT(LastError(), HasSubstr("<xmlattr>." + order[first] + ")"));
    }
}

TEST_F(MultilegsDownloadTest, EveryNumberMustBeANumberOfItsType)
{
    for (const char* name : {"Isin", "IsinLeg", "LegOrderNum", "LegsQuantity", "QuantityRatio"}) {
        EXPECT_FALSE(DownloadOnFutures({nearLeg.With(name, "12x")})) << name;
        EXPECT_THAT(LastError(), HasSubstr("String \"12x\"")) << name;
        EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_COMMON_WRONG_ARGUMENTS);
    }
    EXPECT_FALSE(DownloadOnFutures({nearLeg.With("LegOrderNum", "128")}));
    EXPECT_EQ(LastError(), "stol");
    EXPECT_FALSE(DownloadOnFutures({nearLeg.With("QuantityRatio", "2147483648")}));
    EXPECT_EQ(LastError(), "stol");
    EXPECT_TRUE(DownloadOnFutures({nearLeg.With("LegOrderNum", "-128"), farLeg})) << "a byte, that counts as 128";
    EXPECT_THAT(Rows(), ElementsAre("FUT-3.27-12.26"));
}

TEST_F(MultilegsDownloadTest, AFailureBehindTheRowsLeavesThemWaitingAndNoMultileg)
{
    EXPECT_FALSE(DownloadOnFutures({nearLeg, farLeg, currency})); // a repeat
    EXPECT_EQ(core.GetLastErrorCode(), Z9ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST);
    EXPECT_EQ(instruments.CountMultilegs(), 0u);
    EXPECT_THAT(Rows(), IsEmpty());
    EXPECT_FALSE(calculator.IsEmpty());
    ASSERT_TRUE(DownloadOnFutures({nearLeg})) << LastError();
    EXPECT_THAT(Rows(), IsEmpty()) << "the rows of the failed download are forgotten";
}

TEST_F(MultilegsDownloadTest, PercentSignsOfTheServerAreNoFormats)
{
    ASSERT_TRUE(DownloadOnFutures({nearLeg.With("IsinLeg", "999").With("CodeLeg", "%s%n%d")}));
    EXPECT_THAT(log.Take(), Contains(NoSuchFutures("%s%n%d")));
}

} // namespace
} // namespace test::MultilegsDownloadTest
