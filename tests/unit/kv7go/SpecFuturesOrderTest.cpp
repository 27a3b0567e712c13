// Orders of a futures as a risk: all classes of orders against a plain twin, and figures worked by hand.
#include <array>
#include <cstdint>
#include <limits>
#include <ostream>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "InstrumentSamples.h"
#include "instruments/SpecFutures.h"

namespace test::SpecFuturesOrderTest {
namespace {

using namespace kv7im;
using Level = Enums::ClientRiskLevel;
using Direction = KeyPriceType::Direction;
using Type = KeyPriceType::Type;
using Netting = Enums::SpreadMarginType;
using kv7type::Discount;

double Smaller(double a, double b) { return a < b ? a : b; }
double Larger(double a, double b) { return a > b ? a : b; }

using Row = std::vector<double>;

Row CellsOf(const RiskRowWrapper& row)
{
    Row cells;
    for (std::size_t j = 0; j < row.size(); ++j)
        cells.push_back(row[j]);
    return cells;
}

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
        const FuturesSample sample([&](auto& f) {
            f.CalcFutPrice = 1064.0;
            f.RealCalcPrice = 1000.0;
            f.InterestRateRiskUp = 0.25;
            f.InterestRateRiskDown = 0.125;
            f.NormalizedSpot = 1024.0;
            f.Attribute = attribute;
            f.MRAddOnUp = 0.03125;
            f.MRAddOnDown = 0.0625;
        });
        m_futures = sample.Make(*m_bc);
        m_futures->RecalcInvariants();
    }
    /// The grid row of one order.
    Row GridOf(const KeyPriceType& key, const SOrderInfo& info, Discount discount) const
    {
        const Risk risk = m_futures->TransformToOrder({{key, info}}, discount, Level::Default);
        return CellsOf(risk.GetRisk().GetCentralRowOfVolatilityMatrix());
    }
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

// The price of the leg, 10 above the settlement price of the first one, is what counts with a discount.
TEST_F(Orders, ASecondLegCountsAtItsOwnPriceWhereTheSettlementPriceIsNoNumber)
{
    SOrderInfo info = Info(1, Netting::HalfNetting);
    info.realCalcPriceSecondLeg = std::numeric_limits<double>::quiet_NaN();
    for (const Direction direction : {Direction::Buy, Direction::Sell}) {
        const KeyPriceType key = Key(10.0, direction, Type::SecondLeg);
        EXPECT_EQ(GridOf(key, info, Discount::No), GridOf(key, Info(1, Netting::HalfNetting), Discount::Yes));
    }
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

// --- The table of order classes -------------------------------------------------------------------------------------

/// One row of the table: an order, and what two contracts of it may lose.
struct ClassCase
{
    const char* name;
    KeyPriceType key;
    Netting netting;
    Discount discount;
    double settlementSecondLeg;
    Row grid;                     // at 808, 936, 1064, 1192 and 1320
    std::array<double, 8> points; // DownRisk, ZL, PnL3D, PnL2D, PnL2U, PnL3U, ZR, UpRisk
};

std::ostream& operator<<(std::ostream& out, const ClassCase& c) { return out << c.name; }

// Two contracts of two units of money a price unit: every loss of price counts four times.
//
// The stress points stand at 488 and 616 below and at 1384 and 1512 above; the tails at 408 and 1976, and count by
//     0.75 x 256 / 592 below                0.75 x 256 / 976 above
// because 256 is the width of the grid, 592 and 976 the distance of the tails from the settlement at 1000. The charges
// are 32 either way. A spread stands on settlement prices of 990 and 1010 and on centres of 1000 and 1030.
constexpr double Lower = 0.75 * 256.0 / 592.0;
constexpr double Upper = 0.75 * 256.0 / 976.0;
constexpr double Charge = -4.0 * 32.0;

// What an order to sell at `used` may lose at the points: nothing below, the charge above.
std::array<double, 8> SoldAt(double used)
{
    return {0.0, 0.0, 0.0, 0.0, 4.0 * (used - 1384.0), 4.0 * (used - 1512.0), 4.0 * (used - 1976.0) * Upper, Charge};
}
std::array<double, 8> BoughtAt(double used)
{
    return {Charge, 4.0 * (408.0 - used) * Lower, 4.0 * (488.0 - used), 4.0 * (616.0 - used), 0.0, 0.0, 0.0, 0.0};
}
// A netted second leg loses the same everywhere but at the charges.
std::array<double, 8> Everywhere(double loss) { return {0.0, loss * Lower, loss, loss, loss, loss, loss * Upper, 0.0}; }

const ClassCase ClassTable[] = {
    // (1100 - 1192) x 4, (1100 - 1320) x 4
    {"0: a sale with discount counts at its price",
     Key(1100.0, Direction::Sell),
     Netting::Unused,
     Discount::Yes,
     1010.0,
     {0, 0, 0, -368, -880},
     SoldAt(1100.0)},
    // min(1100, 1000) = 1000: -64 x 4, -192 x 4, -320 x 4
    {"0: a sale without discount counts at the settlement",
     Key(1100.0, Direction::Sell),
     Netting::Unused,
     Discount::No,
     1010.0,
     {0, 0, -256, -768, -1280},
     SoldAt(1000.0)},
    {"0: a sale below the settlement stays there",
     Key(950.0, Direction::Sell),
     Netting::Netting,
     Discount::No,
     1010.0,
     {0, 0, -456, -968, -1480},
     SoldAt(950.0)}, // -114 x 4, -242 x 4, -370 x 4
    // (808 - 900) x 4
    {"1: a purchase with discount counts at its price",
     Key(900.0, Direction::Buy),
     Netting::HalfNetting,
     Discount::Yes,
     1010.0,
     {-368, 0, 0, 0, 0},
     BoughtAt(900.0)},
    // max(900, 1000) = 1000: -192 x 4, -64 x 4
    {"1: a purchase without discount counts at the settlement",
     Key(900.0, Direction::Buy),
     Netting::Unused,
     Discount::No,
     1010.0,
     {-768, -256, 0, 0, 0},
     BoughtAt(1000.0)},
    {"1: a purchase above the settlement stays there",
     Key(1050.0, Direction::Buy),
     Netting::Unused,
     Discount::No,
     1010.0,
     {-968, -456, 0, 0, 0},
     BoughtAt(1050.0)}, // -242 x 4, -114 x 4
    // At 990 whatever the price of the spread: -74 x 4, -202 x 4, -330 x 4
    {"2: a half-netted first leg sold",
     Key(40.0, Direction::Sell, Type::FirstLeg),
     Netting::HalfNetting,
     Discount::Yes,
     1010.0,
     {0, 0, -296, -808, -1320},
     SoldAt(990.0)},
    {"2: the discount is none of its business",
     Key(40.0, Direction::Sell, Type::FirstLeg),
     Netting::HalfNetting,
     Discount::No,
     1010.0,
     {0, 0, -296, -808, -1320},
     SoldAt(990.0)},
    {"3: a half-netted first leg bought",
     Key(40.0, Direction::Buy, Type::FirstLeg),
     Netting::HalfNetting,
     Discount::Yes,
     1010.0,
     {-728, -216, 0, 0, 0},
     BoughtAt(990.0)}, // -182 x 4, -54 x 4
    {"3: the discount is none of its business",
     Key(40.0, Direction::Buy, Type::FirstLeg),
     Netting::HalfNetting,
     Discount::No,
     1010.0,
     {-728, -216, 0, 0, 0},
     BoughtAt(990.0)},
    // 60 + 990 = 1050: -14 x 4, -142 x 4, -270 x 4
    {"4: a half-netted second leg sold",
     Key(60.0, Direction::Sell, Type::SecondLeg),
     Netting::HalfNetting,
     Discount::Yes,
     1010.0,
     {0, 0, -56, -568, -1080},
     SoldAt(1050.0)},
    // min(1010, 1050): -54 x 4, -182 x 4, -310 x 4
    {"4: without discount at its own settlement",
     Key(60.0, Direction::Sell, Type::SecondLeg),
     Netting::HalfNetting,
     Discount::No,
     1010.0,
     {0, 0, -216, -728, -1240},
     SoldAt(1010.0)},
    // 10 + 990 = 1000: -192 x 4, -64 x 4
    {"5: a half-netted second leg bought",
     Key(10.0, Direction::Buy, Type::SecondLeg),
     Netting::HalfNetting,
     Discount::Yes,
     1010.0,
     {-768, -256, 0, 0, 0},
     BoughtAt(1000.0)},
    // max(1010, 1000): -202 x 4, -74 x 4
    {"5: without discount at its own settlement",
     Key(10.0, Direction::Buy, Type::SecondLeg),
     Netting::HalfNetting,
     Discount::No,
     1010.0,
     {-808, -296, 0, 0, 0},
     BoughtAt(1010.0)},
    // min(0, 25 + 1000 - 1030) = -5
    {"6: a netted second leg sold",
     Key(25.0, Direction::Sell, Type::SecondLeg),
     Netting::Netting,
     Discount::Yes,
     1010.0,
     {-20, -20, -20, -20, -20},
     Everywhere(-20.0)},
    // min(0, 25 - 20) - (30 - 20) = -10
    {"6: without discount",
     Key(25.0, Direction::Sell, Type::SecondLeg),
     Netting::Netting,
     Discount::No,
     1010.0,
     {-40, -40, -40, -40, -40},
     Everywhere(-40.0)},
    // min(0, 30 - 40) = -10
    {"7: a netted second leg bought",
     Key(40.0, Direction::Buy, Type::SecondLeg),
     Netting::Netting,
     Discount::Yes,
     1040.0,
     {-40, -40, -40, -40, -40},
     Everywhere(-40.0)},
    // Settled 50 apart: 30 - 50 - max(0, 40 - 50) = -20
    {"7: without discount",
     Key(40.0, Direction::Buy, Type::SecondLeg),
     Netting::Netting,
     Discount::No,
     1040.0,
     {-80, -80, -80, -80, -80},
     Everywhere(-80.0)},
    {"8: a first leg under netting",
     Key(40.0, Direction::Buy, Type::FirstLeg),
     Netting::Netting,
     Discount::No,
     1010.0,
     Row(5, 0.0),
     {}},
    {"8: a first leg of nobody's netting",
     Key(40.0, Direction::Sell, Type::FirstLeg),
     Netting::Unused,
     Discount::Yes,
     1010.0,
     Row(5, 0.0),
     {}},
    {"8: a second leg of nobody's netting",
     Key(40.0, Direction::Buy, Type::SecondLeg),
     Netting::Unused,
     Discount::No,
     1010.0,
     Row(5, 0.0),
     {}},
    {"8: a spread as it was sent",
     Key(1100.0, Direction::Sell, Type::MultiLeg),
     Netting::HalfNetting,
     Discount::No,
     1010.0,
     Row(5, 0.0),
     {}},
    {"8: an order of no kind",
     Key(900.0, Direction::Buy, Type::Undefined),
     Netting::Netting,
     Discount::No,
     1010.0,
     Row(5, 0.0),
     {}},
};

/// The centre of the grid as before, no rates, add-ons of 16 a column upwards and 32 downwards.
class OrderClasses : public Orders, public testing::WithParamInterface<ClassCase>
{
protected:
    OrderClasses()
    {
        m_futures = FuturesSample([](auto& f) {
                        f.CalcFutPrice = 1064.0;
                        f.RealCalcPrice = 1000.0;
                        f.NormalizedSpot = 1024.0;
                        f.MRAddOnUp = 0.03125;
                        f.MRAddOnDown = 0.0625;
                    }).Make(*m_bc);
        m_futures->RecalcInvariants();
    }
    [[nodiscard]] static OrdersMap TwoOf(const ClassCase& order)
    {
        SOrderInfo info = Info(2, order.netting);
        info.realCalcPriceSecondLeg = order.settlementSecondLeg;
        return {{order.key, info}};
    }
};

TEST_P(OrderClasses, LosesWhatItsRowOfTheTableSays)
{
    using testing::DoubleNear;
    using testing::Pointwise;
    const ClassCase& order = GetParam();
    const Risk risk = m_futures->TransformToOrder(TwoOf(order), order.discount, Level::Default);
    for (std::size_t row = 0; row < 3; ++row)
        EXPECT_EQ(CellsOf(risk.GetRisk().Volatility(row)), order.grid) << "scenario " << row;
    const double* const points = risk.GetSpecialRiskPoints().pData();
    EXPECT_THAT(std::vector<double>(points, points + 8), Pointwise(DoubleNear(1e-9), order.points));
}

// The stress of the rates asks for the side alone and never for the class: 16 x 4 and 32 x 4 against a seller where
// prices are high, 64 x 4 and 32 x 4 against a buyer where they are low. An order that is not valued at all has it,
// too.
TEST_P(OrderClasses, LosesTheStressOfTheRatesWhateverItsClass)
{
    const ClassCase& order = GetParam();
    const Risk risk = m_futures->TransformToOrder(TwoOf(order), order.discount, Level::Default);
    const bool sells = order.key.direction == Direction::Sell;
    EXPECT_EQ(CellsOf(risk.GetRisk().InterestRateUp()), sells ? (Row{0, 0, 0, -64, -128}) : Row(5, 0.0));
    EXPECT_EQ(CellsOf(risk.GetRisk().InterestRateDown()), sells ? Row(5, 0.0) : (Row{-256, -128, 0, 0, 0}));
    EXPECT_EQ(risk.GetRisk().VolatilityMismatch().sum(), 0.0);
    EXPECT_EQ(risk.GetRisk().Expiration().RowsCount(), 0u);
}

TEST_P(OrderClasses, IsTakenBackByAQuantityBelowZero)
{
    const ClassCase& order = GetParam();
    OrdersMap orders = TwoOf(order);
    Risk risk = m_futures->TransformToOrder(orders, order.discount, Level::Default);
    orders.begin()->second.deltaQuantity = -2;
    risk += m_futures->TransformToOrder(orders, order.discount, Level::Default);
    ExpectSame(risk, PlainRisk{Row(5), Row(5), Row(5), {}});
}

INSTANTIATE_TEST_SUITE_P(Table, OrderClasses, testing::ValuesIn(ClassTable));

// --- Particular instruments -----------------------------------------------------------------------------------------

// Offset 0 is the calculation price of 1064: (1064 - 1192) x 2 and (1064 - 1320) x 2. Without discount a seller has the
// settlement at 1000 at best, a buyer the 1064 that is worse.
TEST_F(Orders, ATasOrderMeetsTheRuleOfNoDiscountWithTheOffsetAddedToItsPrice)
{
    Build(Enums::InstrumentStatus::TAS);
    EXPECT_EQ(GridOf(Key(0.0, Direction::Sell), Info(1), Discount::Yes), (Row{0, 0, 0, -256, -512}));
    EXPECT_EQ(GridOf(Key(0.0, Direction::Sell), Info(1), Discount::No), (Row{0, 0, -128, -384, -640}));
    EXPECT_EQ(GridOf(Key(0.0, Direction::Buy), Info(1), Discount::No), (Row{-512, -256, 0, 0, 0}));
    // A discount of 100 off 1064 is 964, for a buyer without discount 1000: (808 - 1000) x 2, (936 - 1000) x 2.
    EXPECT_EQ(GridOf(Key(-100.0, Direction::Buy), Info(1), Discount::No), (Row{-384, -128, 0, 0, 0}));
}

// The leg of a spread is an order of its futures: the second leg's price has the calculation price on top of the first
// leg's settlement, 10 + 1064 + 990 = 2064, far above the grid. (808 - 2064) x 2 and so on.
TEST_F(Orders, TheSecondLegOfATasFuturesHasTheCalculationPriceOnTop)
{
    Build(Enums::InstrumentStatus::TAS);
    EXPECT_EQ(GridOf(Key(10.0, Direction::Buy, Type::SecondLeg), Info(1, Netting::HalfNetting), Discount::Yes),
              (Row{-2512, -2256, -2000, -1744, -1488}));
}

// A contract that is quoted in percent: the stress of the rates is the rate itself by the distance from the centre,
// 0.125 and 0.25 upwards, -0.0625 and -0.125 downwards, and the tails are out of reach and do not count.
TEST_F(Orders, AnOrderOfAPercentageContractTakesTheRatesAsTheyAre)
{
    BaseContractSample contract;
    contract.AssetClass = Enums::AssetClass::Percentage;
    m_bc = contract.Make();
    Build(Enums::InstrumentStatus::None);
    const Risk bought =
        m_futures->TransformToOrder({{Key(1000.0, Direction::Buy), Info(3)}}, Discount::Yes, Level::Default);
    EXPECT_EQ(CellsOf(bought.GetRisk().InterestRateUp()), Row(5, 0.0));
    EXPECT_EQ(CellsOf(bought.GetRisk().InterestRateDown()), (Row{-0.75, -0.375, 0, 0, 0}));
    EXPECT_EQ(CellsOf(bought.GetRisk().GetCentralRowOfVolatilityMatrix()), (Row{-1152, -384, 0, 0, 0}));
    EXPECT_EQ(bought.GetSpecialRiskPoints().GetZL(), 0.0);
    EXPECT_EQ(bought.GetSpecialRiskPoints().GetPnL2D(), -2304.0); // (616 - 1000) x 6
    const Risk sold =
        m_futures->TransformToOrder({{Key(1000.0, Direction::Sell), Info(3)}}, Discount::Yes, Level::Default);
    EXPECT_EQ(CellsOf(sold.GetRisk().InterestRateUp()), (Row{0, 0, 0, -0.75, -1.5}));
    EXPECT_EQ(CellsOf(sold.GetRisk().InterestRateDown()), Row(5, 0.0));
    EXPECT_EQ(sold.GetSpecialRiskPoints().GetZR(), 0.0);
}

// Prices of orders have five decimals: 1000.000005 is 1000.00001.
TEST_F(Orders, TheKeyHoldsThePriceWithFiveDecimals)
{
    EXPECT_EQ(Key(1000.000005, Direction::Buy).calculatedPrice.AsPlain(), 100000001);
    EXPECT_EQ(GridOf(Key(936.5, Direction::Buy), Info(1), Discount::Yes), (Row{-257, -1, 0, 0, 0}));
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
} // namespace test::SpecFuturesOrderTest
