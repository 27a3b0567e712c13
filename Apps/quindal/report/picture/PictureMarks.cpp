#include "PictureMarks.h"

#include <algorithm>
#include <cmath>

#include "ExplainWords.h"

namespace quindal::picture {

using namespace QuindalIM;

namespace {

// Words on a cell whose money is not that of a point of the drawing, as far as that is known.
std::string WordsOfCell(const ContractOutcome& contract)
{
    const std::string cell = MoneyText(contract.cell);
    if (!contract.price || cell == MoneyText(contract.money)) return "";
    if (contract.stressPoint) return "; the edge has " + cell + " before stresses";
    const bool hasStresses = contract.rateRow || contract.mismatchRow;
    return "; " + cell + (hasStresses ? " before stresses" : " before the curvature");
}

} // namespace

std::vector<Mark> MarksOf(const ContractGrid& grid, const MarginExplanation& explanation)
{
    std::vector<Mark> marks;
    for (const SideOutcome& side : explanation.entities[grid.entity].sides) {
        const auto found = std::ranges::find(side.contracts, grid.code, &ContractOutcome::code);
        marks.push_back({side.side, found == side.contracts.end() ? nullptr : &*found});
    }
    return marks;
}

bool IsOnGrid(const Mark& mark) noexcept
{
    return mark.contract != nullptr && mark.contract->price && std::isfinite(mark.contract->cell);
}

bool IsBeyond(const Mark& mark) noexcept
{
    return mark.contract != nullptr && mark.contract->stressPoint && std::isfinite(mark.contract->money);
}

bool IsBelow(const Mark& mark) noexcept
{
    return IsBeyond(mark) && kv7im::stress::Points[*mark.contract->stressPoint].side == kv7im::stress::Side::Below;
}

bool IsDelivery(const Mark& mark) noexcept { return mark.contract != nullptr && mark.contract->isDelivery; }

std::string LabelOnGrid(const Mark& mark)
{
    return PriceText(*mark.contract->price) + ": " + MoneyText(mark.contract->cell);
}

std::string LabelBeyond(const Mark& mark)
{
    return std::string(NameOf(*mark.contract->stressPoint)) + ": " + MoneyText(mark.contract->money);
}

std::string WordsOf(const Mark& mark, const ContractGrid& grid)
{
    const std::string side(NameOf(mark.side));
    if (mark.contract == nullptr) return side + ": no loss";
    const ContractOutcome& contract = *mark.contract;
    if (contract.kind == ContractOutcome::Kind::Nothing)
        return side + (contract.isCut ? ": its gain is cut" : ": nothing in the worst cell");
    std::string words = side + ": " + MoneyText(contract.money);
    if (contract.stressPoint) words += " at the stress point " + std::string(NameOf(*contract.stressPoint));
    if (contract.price && contract.stressPoint) words += ", by the edge";
    if (contract.price) words += " at the price " + PriceText(*contract.price);
    if (contract.isDelivery) words += ", deliveries";
    if (contract.scenario && !grid.shifts.empty()) words += ", " + ScenarioText(grid, *contract.scenario);
    return words + WordsOfCell(contract);
}

} // namespace quindal::picture
