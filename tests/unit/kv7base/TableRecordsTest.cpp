#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "TableRecords.h"

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
