#include <cstddef>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "TableRecords.h"

namespace test::TableRecordsTest {
namespace {

TEST(TableRecords, ArePackedRows)
{
    // Sums of the widths of the fields, in order.
    EXPECT_EQ(sizeof(SCommonParametersStruct), 8U);
    EXPECT_EQ(sizeof(SCurrencyStruct), 4U + 8);
    EXPECT_EQ(sizeof(SMultilegDictionaryStruct), 4U * 4 + 1);
    EXPECT_EQ(sizeof(SBaseContractStruct),
              4U + 26 + 26 + 4 + 1 + 1 + 11 + 8 + 1 + 4 + 8 + 15 * 8 + 8 + 8 + 4 + 8 + 1 + 4 + 8 + 4);
    EXPECT_EQ(sizeof(SFuturesStruct), 26U + 4 + 26 + 11 + 1 + 8 + 8 + 10 + 11 + 8 + 4 + 8 + 4 + 4 + 8 * 6 + 1 + 4);
    EXPECT_EQ(sizeof(SVirtFuturesStruct), 26U + 26 + 5 * 8 + 10 + 1 + 8 + 8 + 3 * 4 + 3 * 8 + 4 + 4 + 7 * 8 + 3 * 4 +
                                              1 + 1 + 1 + 8 + 8 + 4 + 5 * 8 + 3 * 8 + 2 * 8);
    EXPECT_EQ(sizeof(SOptionStruct), 26U + 4 + 26 + 11 + 1 + 11 + 8);
}

TEST(TableRecords, FieldsOfSeriesAndOptionsStandInTheExchangesOrder)
{
    // Distances from the start, by the widths of what comes before.
    EXPECT_EQ(offsetof(SVirtFuturesStruct, CodeRF), 26U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, A_Black), 52U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, ExpiredDate), 92U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, UseNullVolat), 102U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, S_Black), 103U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, StrikeStep), 111U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, ExpClearingsSA), 119U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, VolatilityRisk), 131U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, OptionSeriesId), 155U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, A_Bach), 163U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, MarginStyle), 219U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, SubRisk), 231U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, MinStep), 234U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, LotCoeff), 250U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, r), 254U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, r2), 294U);
    EXPECT_EQ(offsetof(SVirtFuturesStruct, FixedSpotDiscountClr), 326U);
    EXPECT_STREQ(SVirtFuturesStruct::tableName(), "VirtFutures");

    EXPECT_EQ(offsetof(SOptionStruct, Isin), 26U);
    EXPECT_EQ(offsetof(SOptionStruct, CodeVF), 30U);
    EXPECT_EQ(offsetof(SOptionStruct, Strike), 56U);
    EXPECT_EQ(offsetof(SOptionStruct, OptType), 67U);
    EXPECT_EQ(offsetof(SOptionStruct, CalcOptPrice), 68U);
    EXPECT_EQ(offsetof(SOptionStruct, ProhibitionGroupMask), 79U);
    EXPECT_STREQ(SOptionStruct::tableName(), "Option");
}

TEST(TableRecords, ASeriesAndAnOptionStartWithNothing)
{
    const SVirtFuturesStruct series;
    EXPECT_EQ(series.CodeRF[0], '\0');
    EXPECT_EQ(double{series.StrikeStep}, 0.0);
    EXPECT_EQ(std::int32_t{series.LotCoeff}, 0);
    const SOptionStruct option;
    EXPECT_EQ(option.Code[0], '\0');
    EXPECT_EQ(t_bprice(option.Strike), t_bprice::Zero);
    EXPECT_EQ(option.OptType, Enums::OptionType::Undefined);
}

TEST(TableRecords, AFuturesStartsWithAHundredUnitsAContract)
{
    const SFuturesStruct futures;
    EXPECT_EQ(double{futures.XLot}, 100.0);
    EXPECT_EQ(futures.Code[0], '\0');
    EXPECT_EQ(t_bprice(futures.CalcFutPrice), t_bprice::Zero);
    EXPECT_EQ(int{futures.TASBaseFutIsinID}, 0);
    EXPECT_STREQ(SFuturesStruct::tableName(), "Futures");
}

TEST(TableRecords, TablesHaveTheExchangesNumbers)
{
    EXPECT_EQ(IDXTradingClearingSessions, 0);
    EXPECT_EQ(IDXFutures, 4);
    EXPECT_EQ(IDXCommonParameters, 14);
    EXPECT_EQ(IDXSynchroEvent0, 33);
    EXPECT_EQ(IDXTableCount, 34);
}

TEST(TableRecords, CodesOfUpTo25CharactersFitTheirField)
{
    SFuturesStruct futures;
    const std::string longest(25, 'x');
    ASSERT_TRUE(SetInstr(futures.Code, longest));
    EXPECT_STREQ(futures.Code, longest.c_str());
    EXPECT_FALSE(SetInstr(futures.Code, longest + "y"));
    EXPECT_STREQ(futures.Code, longest.c_str());
    ASSERT_TRUE(SetInstr(futures.Code, "F"));
    EXPECT_STREQ(futures.Code, "F");
    EXPECT_EQ(futures.Code[24], '\0') << "nothing is left of the longer code";
    ASSERT_TRUE(SetInstr(futures.Code, {}));
    EXPECT_STREQ(futures.Code, "");
}

} // namespace
} // namespace test::TableRecordsTest
