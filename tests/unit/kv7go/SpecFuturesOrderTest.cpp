// Orders of a futures as a risk: all classes of orders against a plain twin, and figures worked by hand.
#include <array>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "SpecFutures.h"

namespace {

using namespace kv7im;
using Level = Enums::ClientRiskLevel;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;
using Netting = Enums::SpreadMarginType;
using kv7type::Discount;

double Smaller(double a, double b) { return a < b ? a : b; }
double Larger(double a, double b) { return a > b ? a : b; }

struct PlainRisk
{
    std::vector<double> grid, up, down;
    std::array<double, 8> points{};
};

/// The same rule, cell by cell with plain numbers.
PlainRisk PlainTransform(const CSpecFutures& f, const OrdersMap& orders, Discount discount, Level level)
{
    const Profile& profile = f.GetProfile(level);
    const RiskRowWrapper prices = profile.GetCentralRowOfVolatilityMatrix();
    const RiskRowWrapper up = profile.InterestRateUp();
    const RiskRowWrapper down = profile.InterestRateDown();
    const std::size_t columns = prices.size();
    PlainRisk risk{std::vector<double>(columns), std::vector<double>(columns), std::vector<double>(columns), {}};
    const bool no = discount == Discount::No;

    for (const auto& [key, info] : orders) {
        const auto q = static_cast<double>(info.deltaQuantity);
        double p = static_cast<double>(key.calculatedPrice.AsPlain()) / 100000.0;
        if (f.IsTAS) p += f.CalcFutPrice;
        const bool sell = key.direction == Direction::Sell;
        double used = p;
        if (no) used = sell ? Smaller(p, f.RealCalcPrice) : Larger(p, f.RealCalcPrice);
        int order = 8;
        double s = 0.0;
        const double c1 = info.riskCenterFirstLeg, c2 = info.riskCenterSecondLeg;
        const double r1 = info.realCalcPriceFirstLeg, r2 = info.realCalcPriceSecondLeg;
        const Netting m = info.participantCalSpreadMarginType;
        if (key.type == Type::Ordinal) {
            order = sell ? 0 : 1;
        } else if (key.type == Type::FirstLeg && m == Netting::HalfNetting) {
            used = r1;
            order = sell ? 2 : 3;
        } else if (key.type == Type::SecondLeg && m == Netting::HalfNetting) {
            used = p + r1;
            order = sell ? 4 : 5;
            if (no) used = sell ? Smaller(r2, used) : Larger(r2, used);
        } else if (key.type == Type::SecondLeg && m == Netting::Netting) {
            order = sell ? 6 : 7;
            if (!sell && !no) s = q * Smaller(0, (c2 - c1) - p);
            if (!sell && no) s = q * Smaller(0, c2 - c1 + r1 - r2 - Larger(0, p + r1 - r2));
            if (sell && !no) s = q * Smaller(0, p + c1 - c2);
            if (sell && no) s = q * Smaller(0, Smaller(0, p + r1 - r2) - (c2 - c1 + r1 - r2));
        }
        for (std::size_t j = 0; j < columns; ++j) {
            double contribution = 0.0;
            if (order == 0 || order == 2 || order == 4) contribution = q * Smaller(0, used - prices[j]);
            if (order == 1 || order == 3 || order == 5) contribution = q * Smaller(0, prices[j] - used);
            if (order == 6 || order == 7) contribution = s;
            risk.grid[j] += contribution * f.MoneyCoef;
            risk.up[j] += q * Smaller(0, sell ? -up[j] : up[j]) * f.MoneyCoef;
            risk.down[j] += q * Smaller(0, sell ? -down[j] : down[j]) * f.MoneyCoef;
        }
        for (std::size_t i = 0; i < 8; ++i) {
            const double point = profile.GetSpecialRiskPoints().pData()[i];
            const bool charge = i == 0 || i == 7;
            double value = 0.0;
            if (order == 0 || order == 2 || order == 4) value = q * Smaller(0, charge ? -point : used - point);
            if (order == 1 || order == 3 || order == 5) value = q * Smaller(0, charge ? point : point - used);
            if (order == 6 || order == 7) value = charge ? 0.0 : s;
            risk.points[i] += value * f.MoneyCoef;
        }
    }
    risk.points[1] *= f.GetCoverZL(level);
    risk.points[6] *= f.GetCoverZR(level);
    return risk;
}

void ExpectSame(const Risk& risk, const PlainRisk& plain)
{
    const Profile& profile = risk.GetRisk();
    for (std::size_t j = 0; j < plain.grid.size(); ++j) {
        for (std::size_t row = 0; row < profile.Volatility().RowsCount(); ++row) {
            const RiskRowWrapper cells = profile.Volatility(row);
            EXPECT_EQ(cells[j], plain.grid[j]) << "column " << j;
        }
        const RiskRowWrapper up = profile.InterestRateUp();
        const RiskRowWrapper down = profile.InterestRateDown();
        EXPECT_EQ(up[j], plain.up[j]) << "column " << j;
        EXPECT_EQ(down[j], plain.down[j]) << "column " << j;
    }
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(profile.GetSpecialRiskPoints().pData()[i], plain.points[i]) << "point " << i;
}

SOrderInfo Info(std::int64_t quantity, Netting netting = Netting::Unused)
{
    SOrderInfo info(SOrderInfo::InitializationType::FullFill, 0, quantity);
    info.realCalcPriceFirstLeg = 990.0;
    info.realCalcPriceSecondLeg = 1010.0;
    info.riskCenterFirstLeg = 1000.0;
    info.riskCenterSecondLeg = 1030.0;
    info.participantCalSpreadMarginType = netting;
    return info;
}

KeyPriceType Key(double price, Direction direction, Type type = Type::Ordinal)
{
    return {t_bprice_int(price), direction, type};
}

/// Grid 808, 936, 1064, 1192, 1320 at the level Default, settlement 1000, money 2 a unit.
class Orders : public testing::Test
{
protected:
    Orders() { Build(Enums::InstrumentStatus::None); }
    void Build(Enums::InstrumentStatus attribute)
    {
        const FuturesSample sample{.CalcFutPrice = 1064.0,
                                   .RealCalcPrice = 1000.0,
                                   .InterestRateRiskUp = 0.25,
                                   .InterestRateRiskDown = 0.125,
                                   .NormalizedSpot = 1024.0,
                                   .Attribute = attribute,
                                   .MRAddOnUp = 0.03125,
                                   .MRAddOnDown = 0.0625};
        m_futures = sample.Make(*m_bc);
        m_futures->RecalcInvariants();
    }
    /// The grid row of one order.
    std::vector<double> GridOf(const KeyPriceType& key, const SOrderInfo& info, Discount discount) const
    {
        const Risk risk = m_futures->TransformToOrder({{key, info}}, discount, Level::Default);
        const RiskRowWrapper row = risk.GetRisk().GetCentralRowOfVolatilityMatrix();
        std::vector<double> cells;
        for (std::size_t j = 0; j < row.size(); ++j)
            cells.push_back(row[j]);
        return cells;
    }
    using Row = std::vector<double>;

    std::shared_ptr<CSpecBaseContract> m_bc = BaseContractSample{}.Make();
    std::shared_ptr<CSpecFutures> m_futures;
};

TEST_F(Orders, EveryClassOfOrderEqualsThePlainRule)
{
    for (const Discount discount : {Discount::Yes, Discount::No})
        for (const Direction direction : {Direction::Buy, Direction::Sell, Direction::Undefined})
            for (const Type type : {Type::Ordinal, Type::MultiLeg, Type::FirstLeg, Type::SecondLeg, Type::Undefined})
                for (const Netting netting : {Netting::Unused, Netting::HalfNetting, Netting::Netting})
                    for (const std::int64_t quantity : {1, 7, -3, 0})
                        for (const double price : {-50.0, 0.0, 12.5, 40.0, 980.3, 1000.0, 1111.1}) {
                            SCOPED_TRACE(testing::Message()
                                         << static_cast<int>(discount) << " " << static_cast<int>(direction) << " "
                                         << static_cast<int>(type) << " " << static_cast<int>(netting) << " "
                                         << quantity << " " << price);
                            const OrdersMap orders{{Key(price, direction, type), Info(quantity, netting)}};
                            ExpectSame(m_futures->TransformToOrder(orders, discount, Level::Default),
                                       PlainTransform(*m_futures, orders, discount, Level::Default));
                        }
}

TEST_F(Orders, SeveralOrdersAddUpInTheOrderOfTheMapAtEveryLevel)
{
    OrdersMap orders;
    for (int i = 0; i < 40; ++i) {
        const Direction direction = i % 3 == 0 ? Direction::Sell : Direction::Buy;
        const Type type = i % 5 == 0 ? Type::FirstLeg : i % 7 == 0 ? Type::SecondLeg : Type::Ordinal;
        orders[Key(900.0 + 7.3 * i, direction, type)] =
            Info(i - 5, i % 2 == 0 ? Netting::HalfNetting : Netting::Netting);
    }
    for (const Level level : Enums::PossibleClientRiskLevelValues)
        for (const Discount discount : {Discount::Yes, Discount::No})
            ExpectSame(m_futures->TransformToOrder(orders, discount, level),
                       PlainTransform(*m_futures, orders, discount, level));
}

TEST_F(Orders, NoOrdersAreNoRisk)
{
    const Risk risk = m_futures->TransformToOrder({}, Discount::No, Level::Default);
    EXPECT_EQ(risk.GetRisk().Volatility().RowsCount(), 3u);
    EXPECT_EQ(risk.GetRisk().Volatility().ColsCount(), 5u);
    ExpectSame(risk, PlainRisk{Row(5), Row(5), Row(5), {}});
}

TEST_F(Orders, ABuyLosesBelowItsPriceAndASaleAboveIt)
{
    // Buy 3 at 1100: 3 x (808 - 1100) x 2 = -1752, 3 x (936 - 1100) x 2 = -984, 3 x (1064 - 1100) x 2 = -216.
    EXPECT_EQ(GridOf(Key(1100.0, Direction::Buy), Info(3), Discount::Yes), (Row{-1752, -984, -216, 0, 0}));
    // Sell 3 at 1100: 3 x (1100 - 1192) x 2 = -552, 3 x (1100 - 1320) x 2 = -1320.
    EXPECT_EQ(GridOf(Key(1100.0, Direction::Sell), Info(3), Discount::Yes), (Row{0, 0, 0, -552, -1320}));
    // An order without a side counts as a purchase.
    EXPECT_EQ(GridOf(Key(1100.0, Direction::Undefined), Info(3), Discount::Yes), (Row{-1752, -984, -216, 0, 0}));
}

TEST_F(Orders, WithoutDiscountAnOrderIsNeverValuedBetterThanTheSettlementPrice)
{
    // Buy 1 at 900, valued at 1000: (808 - 1000) x 2 = -384, (936 - 1000) x 2 = -128; with discount (808 - 900) x 2.
    EXPECT_EQ(GridOf(Key(900.0, Direction::Buy), Info(1), Discount::No), (Row{-384, -128, 0, 0, 0}));
    EXPECT_EQ(GridOf(Key(900.0, Direction::Buy), Info(1), Discount::Yes), (Row{-184, 0, 0, 0, 0}));
    // Sell 1 at 1200, valued at 1000: (1000 - 1064) x 2, (1000 - 1192) x 2, (1000 - 1320) x 2.
    EXPECT_EQ(GridOf(Key(1200.0, Direction::Sell), Info(1), Discount::No), (Row{0, 0, -128, -384, -640}));
}

TEST_F(Orders, ATasOrderIsAnOffsetFromTheCalculationPrice)
{
    Build(Enums::InstrumentStatus::TAS);
    // Buy 1 at an offset of 0 is valued at 1064: (808 - 1064) x 2 = -512, (936 - 1064) x 2 = -256.
    EXPECT_EQ(GridOf(Key(0.0, Direction::Buy), Info(1), Discount::Yes), (Row{-512, -256, 0, 0, 0}));
    EXPECT_EQ(GridOf(Key(-128.0, Direction::Buy), Info(1), Discount::Yes), (Row{-256, 0, 0, 0, 0}));
}

TEST_F(Orders, ANettedSecondLegLosesTheSameEverywhere)
{
    // Centres 1000 and 1030, settlement 990 and 1010.
    // Buy 2 at 40 with discount: 2 x min(0, 30 - 40) x 2 = -40.
    EXPECT_EQ(GridOf(Key(40.0, Direction::Buy, Type::SecondLeg), Info(2, Netting::Netting), Discount::Yes),
              Row(5, -40.0));
    // Without: 30 - 20 - max(0, 40 - 20) = -10, again -40.
    EXPECT_EQ(GridOf(Key(40.0, Direction::Buy, Type::SecondLeg), Info(2, Netting::Netting), Discount::No),
              Row(5, -40.0));
    // A purchase at 5, better than the settlement spread of 20: 10 - max(0, -15) = 10, no loss either way.
    EXPECT_EQ(GridOf(Key(5.0, Direction::Buy, Type::SecondLeg), Info(2, Netting::Netting), Discount::No), Row(5, 0.0));
    // Sell 2 at 25 with discount: 2 x min(0, 25 - 30) x 2 = -20; without: min(0, 5) - 10 = -10, so -40.
    EXPECT_EQ(GridOf(Key(25.0, Direction::Sell, Type::SecondLeg), Info(2, Netting::Netting), Discount::Yes),
              Row(5, -20.0));
    EXPECT_EQ(GridOf(Key(25.0, Direction::Sell, Type::SecondLeg), Info(2, Netting::Netting), Discount::No),
              Row(5, -40.0));
}

TEST_F(Orders, AHalfNettedLegStandsOnTheSettlementPrices)
{
    // First leg: always 990, the discount plays no part. Buy 1: (808 - 990) x 2, (936 - 990) x 2.
    for (const Discount discount : {Discount::Yes, Discount::No})
        EXPECT_EQ(GridOf(Key(40.0, Direction::Buy, Type::FirstLeg), Info(1, Netting::HalfNetting), discount),
                  (Row{-364, -108, 0, 0, 0}));
    // Second leg: 10 + 990 = 1000; without discount a buy is held at 1010.
    EXPECT_EQ(GridOf(Key(10.0, Direction::Buy, Type::SecondLeg), Info(1, Netting::HalfNetting), Discount::Yes),
              (Row{-384, -128, 0, 0, 0}));
    EXPECT_EQ(GridOf(Key(10.0, Direction::Buy, Type::SecondLeg), Info(1, Netting::HalfNetting), Discount::No),
              (Row{-404, -148, 0, 0, 0}));
    // A sale at 60 + 990 = 1050 is held at 1010 without discount: (1010 - 1064) x 2 = -108 ...
    EXPECT_EQ(GridOf(Key(60.0, Direction::Sell, Type::SecondLeg), Info(1, Netting::HalfNetting), Discount::No),
              (Row{0, 0, -108, -364, -620}));
}

TEST_F(Orders, AnOrderThatIsNotValuedStillCarriesItsRateStress)
{
    const OrdersMap orders{{Key(1000.0, Direction::Buy, Type::MultiLeg), Info(1)}};
    const Risk risk = m_futures->TransformToOrder(orders, Discount::No, Level::Default);
    const RiskRowWrapper row = risk.GetRisk().GetCentralRowOfVolatilityMatrix();
    const RiskRowWrapper down = risk.GetRisk().InterestRateDown();
    const RiskRowWrapper stress = std::as_const(*m_futures).GetProfile(Level::Default).InterestRateDown();
    for (std::size_t j = 0; j < 5; ++j)
        EXPECT_EQ(row[j], 0.0);
    EXPECT_LT(stress[0], 0.0);
    EXPECT_EQ(down[0], stress[0] * 2.0);
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(risk.GetSpecialRiskPoints().pData()[i], 0.0);
}

TEST_F(Orders, ACancellationIsTheOppositeOfItsOrder)
{
    const OrdersMap placed{{Key(1100.0, Direction::Buy), Info(3)}};
    const OrdersMap cancelled{{Key(1100.0, Direction::Buy), Info(-3)}};
    Risk risk = m_futures->TransformToOrder(placed, Discount::No, Level::High);
    risk += m_futures->TransformToOrder(cancelled, Discount::No, Level::High);
    ExpectSame(risk, PlainRisk{Row(5), Row(5), Row(5), {}});
}

TEST_F(Orders, TheChargesTakeNoPriceAndTheFarPointsAreCovered)
{
    // Sell 1 at 1000, no shift: UpRisk 0.125 x 1024 x 0.25 = 32, so -32 x 2 = -64; DownRisk -32 turned is a profit: 0.
    const Risk risk =
        m_futures->TransformToOrder({{Key(1000.0, Direction::Sell), Info(1)}}, Discount::Yes, Level::Default);
    const SpecialRiskPoints& points = risk.GetSpecialRiskPoints();
    EXPECT_EQ(points.GetUpRisk(), -64.0);
    EXPECT_EQ(points.GetDownRisk(), 0.0);
    EXPECT_EQ(points.GetPnL2U(), -768.0);  // (1000 - 1384) x 2: 1000 + 0.375 x 1024
    EXPECT_EQ(points.GetPnL3U(), -1024.0); // (1000 - 1512) x 2
    // ZR lies (3 + 0.75 + 0.0625) x 256 = 976 above; the cover is 256 / 976 x 0.75: -976 x 2 x that = -384.
    EXPECT_DOUBLE_EQ(points.GetZR(), -384.0);
    EXPECT_EQ(points.GetZL(), 0.0);
}

TEST_F(Orders, KeysAreTheSameOrderOnlyWhenPriceSideAndKindAgree)
{
    const KeyPriceType key = Key(10.0, Direction::Buy);
    EXPECT_TRUE(key == Key(10.0, Direction::Buy));
    EXPECT_FALSE(key == Key(10.00001, Direction::Buy));
    EXPECT_FALSE(key == Key(10.0, Direction::Sell));
    EXPECT_FALSE(key == Key(10.0, Direction::Buy, Type::FirstLeg));
    EXPECT_EQ(KeyPriceTypeHasher{}(key), KeyPriceTypeHasher{}(Key(10.0, Direction::Buy)));
    const SOrderInfo fresh(SOrderInfo::InitializationType::FullFill, 4, 5);
    EXPECT_EQ(fresh.multilegIsin, 4);
    EXPECT_EQ(fresh.deltaQuantity, 5);
    EXPECT_EQ(fresh.riskCenterSecondLeg, 0.0);
    EXPECT_EQ(fresh.participantCalSpreadMarginType, Netting::Unused);
}

} // namespace
