// MarginExplanation: why the margin of a book is what it is.
//
// A margin is the absolute value of one worst cell of each margin entity, added up. The explanation names those cells,
// says what each position and each set of open orders loses in them, and what each level of netting saves against the
// margins of the parts standing alone. The book is only read.
//
// Always true:  the shares add up to the unrounded margin, but for the rounding of the additions.
// Numbers:      money. In a margin or a share a loss is positive, and a gain, which takes away from the margin, is
//               negative. In a cell, an outcome or a grid a loss is negative. Prices are those of the instruments.
// Scope:        a book in its plain mode, whose positions and orders entered it by the participant's present
//               parameters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Enums.h"
#include "grids/SpecialRiskPoints.h"

class BraskClient;

namespace kv7im {

class Portfolio;
class RiskParticipant;

} // namespace kv7im

namespace QuindalIM {

/// The two figures that the weight of a margin mixes.
enum class MarginSide
{
    Volatility, // theoretical values
    Delivery,   // theoretical values and the outcomes of near deliveries
};

/// Kind of a margin entity. The margins of the entities are added up; nothing nets between two of them.
enum class MarginEntity
{
    MCS,          // base contracts that net with each other
    BaseContract, // futures in spread, of a base contract without an MCS
    Futures,      // standing alone
    OptionSeries, // standing alone
};

/// Result of a futures or an option series in the worst cell.
struct PartOutcome
{
    std::string code;
    bool isCut = false;                     // half netting keeps nothing of a gain here
    std::optional<std::size_t> rateRow;     // rate stress of a part that half netting folds: 0 up, 1 down
    std::optional<std::size_t> mismatchRow; // mismatch stress of a part that half netting folds: 0 up, 1 down
    std::optional<double> subPoint;         // price of the sub-point that counts instead of the price point
    std::optional<std::size_t> deliveryRow; // row of the worst delivery scenario
    std::optional<double> deliveryPrice;    // delivery price of that scenario
};

/// Contribution of one base contract, or of a futures or series standing alone, to the worst cell of its entity.
struct ContractOutcome
{
    enum class Kind
    {
        PricePoint,  // the result at a point of the price grid
        StressPoint, // a stress point
        EdgeFloor,   // a stress point lifted to the loss that the edge of the grid implies: pricePoint is the edge
        Nothing,     // nothing lost, or a gain that the MCS does not keep
    };

    std::string code;
    Kind kind = Kind::Nothing;
    bool isCut = false; // the MCS keeps nothing of this gain
    double money = 0.0; // contribution, before the ratio of the entity
    std::optional<kv7im::SpecialRiskPoints::MappingPoint> stressPoint;
    std::optional<std::size_t> pricePoint; // column of the grid
    std::optional<double> price;           // of the grid's futures at this column
    bool isDelivery = false;               // the result with deliveries is the worse one here
    std::optional<std::size_t> scenario;   // volatility row; none where deliveries make all rows equal
    std::optional<std::size_t> rateRow;    // rate stress where it takes something: 0 up, 1 down
    std::optional<std::size_t> mismatchRow;
    /// Result at the price point before stresses and curvature; a cell of the contract's grid where no delivery is
    /// worse.
    double cell = 0.0;
    std::vector<PartOutcome> parts; // futures and series with something to report
};

/// The worst cell of one entity on one side.
struct SideOutcome
{
    MarginSide side = MarginSide::Volatility;
    double margin = 0.0;                   // with the ratio of the entity, without weight and ratio of the participant
    bool isLoss = false;                   // false: no cell loses anything, and the other fields are meaningless
    std::optional<std::size_t> pricePoint; // column of the entity's row; none for a stress point
    std::optional<kv7im::SpecialRiskPoints::MappingPoint> stressPoint;
    std::vector<ContractOutcome> contracts; // by code
};

struct EntityExplanation
{
    MarginEntity kind = MarginEntity::Futures;
    std::string code;
    double ratio = 1.0;             // multiplier of its margin that the firm agreed
    double margin = 0.0;            // part of the unrounded margin
    std::vector<SideOutcome> sides; // sides that count: two only for a weight between 0 and 1
};

/// Share of a position, or of all open orders in an instrument, in the margin.
struct MarginShare
{
    enum class Kind
    {
        Position,
        Orders,
    };

    std::string instrument;
    Isin isin = 0;
    Kind kind = Kind::Position;
    std::int64_t quantity = 0; // of a position, short below 0; of orders, contracts bought plus contracts sold
    double price = 0.0;        // average price of a position
    std::size_t entity = 0;    // index among the entities
    double volatility = 0.0;   // part of the volatility margin; 0 when this side does not count
    double delivery = 0.0;
    double margin = 0.0; // part of the unrounded margin
    // True when nothing is kept of its gain in a cell that counts, or only what the option value adds to the curvature:
    // half netting takes losses only, and so do the tails ZL and ZR of an MCS, with a window or without one.
    bool isGated = false;
};

/// How far netting goes. Each level nets everything that the level before it nets.
enum class NettingLevel
{
    Gross,           // each position with its own orders stands alone
    Series,          // options of one series net
    Futures,         // options and their futures net, where the series is in spread
    BaseContract,    // futures in spread net across their months
    AcrossContracts, // base contracts of one MCS net: the margin itself
};

struct LevelMargin
{
    NettingLevel level = NettingLevel::Gross;
    double margin = 0.0; // unrounded, if netting stopped here
    double saved = 0.0;  // against the level before; below 0 where limits hit positions that are held together
};

/// Relative shift of the volatility in one scenario, 0.12 for an eighth more than now: the least and the largest of the
/// option series that are held or ordered. -1 is an option without time value.
struct VolatilityShift
{
    double lowest = 0.0;
    double highest = 0.0;
};

/// Profit and loss over the price grid of one base contract, or of a futures or series standing alone.
struct ContractGrid
{
    std::string code;
    std::size_t entity = 0;
    double margin = 0.0;                        // part of the unrounded margin, below 0 for a gain in the worst cell
    std::string futures;                        // futures whose prices the axis has: the one held that expires first
    double currentPrice = 0.0;                  // calculated price of this futures: the centre of the grid
    std::vector<double> prices;                 // one a column, ascending
    std::vector<std::vector<double>> scenarios; // money, volatility scenarios x columns, before stresses and curvature
    std::vector<VolatilityShift> shifts;        // one a scenario; none where no option is held or ordered
    std::vector<double> deliveries; // money, one a column: the worst with deliveries; none where none is worse
};

struct MarginExplanation
{
    double margin = 0.0;                     // rounded up to cents, as it is charged
    double unrounded = 0.0;                  // ((1 - weight) x volatility + weight x delivery) x ratio
    double volatility = 0.0;                 // volatility margin
    double delivery = 0.0;                   // delivery margin
    double weight = 0.0;                     // of the delivery margin, 0 to 1
    double ratio = 1.0;                      // of the participant
    std::vector<EntityExplanation> entities; // by kind and code
    std::vector<MarginShare> shares;         // by entity and code, a position before its orders
    std::vector<LevelMargin> levels;         // Gross first
    std::vector<ContractGrid> grids;         // by entity and code
};

/// Explains the margin of a book of the participant. deliveryWeight, 0 to 1, and ratio are those of its margin.
[[nodiscard]] MarginExplanation ExplainMargin(const kv7im::Portfolio& book, const kv7im::RiskParticipant& participant,
                                              double deliveryWeight, double ratio);

/// Explains the margin of a client: of the book that counts, which leaves premium-style options out where they stay out
/// of the margin, with the firm's weight for clients where the client has no weight of its own.
[[nodiscard]] MarginExplanation ExplainMargin(const BraskClient& client);

} // namespace QuindalIM
