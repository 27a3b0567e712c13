#include "Enums.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace test::EnumsTest {
namespace {

using namespace Enums;

TEST(Enums, AssetClassesAreNamedInMessagesAsTheMarketNamesThem)
{
    const std::array<std::string_view, 7> names{"Stock",     "Currency",   "Bond", "Index",
                                                "Commodity", "Percentage", "Metal"};
    ASSERT_EQ(PossibleAssetClassValues.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(ToString(PossibleAssetClassValues[i]), names[i]);
        EXPECT_EQ(static_cast<std::size_t>(PossibleAssetClassValues[i]), i + 1) << "asset classes count from 1";
    }
}

TEST(Enums, EachEnumerationOfAnInstrumentHasItsNames)
{
    EXPECT_EQ(ToString(MSPType::FixedPriceStep), "FixedPriceStep");
    EXPECT_EQ(ToString(MSPType::CurrencyIndicatorPriceStep), "CurrencyIndicatorPriceStep");
    EXPECT_EQ(ToString(OptionModel::BlackScholes), "BlackScholes");
    EXPECT_EQ(ToString(OptionModel::Bachelier), "Bachelier");
    EXPECT_EQ(ToString(MarginStyle::Futures), "Futures");
    EXPECT_EQ(ToString(MarginStyle::Equity), "Equity");
    EXPECT_EQ(ToString(SettlementType::CashSettled), "CashSettled");
    EXPECT_EQ(ToString(SettlementType::Deliverable), "Deliverable");
    EXPECT_EQ(ToString(ExerciseStyle::American), "American");
    EXPECT_EQ(ToString(ExerciseStyle::European), "European");
}

TEST(Enums, AValueFromOutsideItsEnumerationPrintsAsUnknown)
{
    EXPECT_EQ(ToString(static_cast<AssetClass>(0)), "<unknown>");
    EXPECT_EQ(ToString(static_cast<AssetClass>(8)), "<unknown>");
    EXPECT_EQ(ToString(static_cast<MSPType>(-1)), "<unknown>");
    EXPECT_EQ(ToString(static_cast<OptionModel>(2)), "<unknown>");
    EXPECT_EQ(ToString(static_cast<MarginStyle>(2)), "<unknown>");
    EXPECT_EQ(ToString(static_cast<SettlementType>(2)), "<unknown>");
    EXPECT_EQ(ToString(static_cast<ExerciseStyle>(2)), "<unknown>");
}

TEST(Enums, ALoopOverRiskLevelsRunsFromDefaultToExceptional)
{
    ASSERT_EQ(PossibleClientRiskLevelValues.size(), 5u);
    for (std::size_t i = 0; i < PossibleClientRiskLevelValues.size(); ++i)
        EXPECT_EQ(static_cast<std::size_t>(PossibleClientRiskLevelValues[i]), i);
}

TEST(Enums, TheColumnsOfARiskLevelEndInItsNameAndThoseOfTheDefaultInNothing)
{
    const std::array<std::string_view, 5> names{"Default", "Low", "Medium", "High", "Exceptional"};
    ASSERT_EQ(ClientRiskLevels.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(ClientRiskLevels[i].value, PossibleClientRiskLevelValues[i]);
        EXPECT_EQ(ClientRiskLevels[i].name, names[i]);
        EXPECT_EQ(ClientRiskLevels[i].columnSuffix, i == 0 ? "" : names[i]);
    }
}

TEST(Enums, ThePricingModelsAreThoseOfTheirTable)
{
    ASSERT_EQ(OptionModels.size(), 2u);
    EXPECT_EQ(PossibleOptionModelValues, (std::array{OptionModel::BlackScholes, OptionModel::Bachelier}));
    for (const OptionModelRow& row : OptionModels)
        EXPECT_EQ(ToString(row.value), row.name);
}

TEST(Enums, AStatusIsSetWhenAllItsBitsAre)
{
    const auto collateralSpot = static_cast<InstrumentStatus>(8388608 + 1); // bit 23 and bit 0
    EXPECT_TRUE(HasStatus(collateralSpot, InstrumentStatus::Collateral));
    EXPECT_TRUE(HasStatus(collateralSpot, InstrumentStatus::Spot));
    EXPECT_FALSE(HasStatus(collateralSpot, InstrumentStatus::TAS));
    EXPECT_FALSE(HasStatus(collateralSpot, InstrumentStatus::MainSpot))
        << "main spot is two bits, one of them is not there";
}

TEST(Enums, WidthsAreThoseOfTheExchangeRecords)
{
    EXPECT_EQ(sizeof(ClientRiskLevel), 4u);
    EXPECT_EQ(sizeof(MarginRule), 1u);
    EXPECT_EQ(sizeof(SpreadMarginType), 1u);
    EXPECT_EQ(sizeof(InvestorStatus), 8u);
    EXPECT_EQ(sizeof(MSPType), 1u);
    EXPECT_EQ(sizeof(OptionModel), 1u);
    EXPECT_EQ(sizeof(OptionType), 1u);
    EXPECT_EQ(sizeof(RptCode), 4u);
}

} // namespace
} // namespace test::EnumsTest
