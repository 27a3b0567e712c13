// CommandLine: what the tests of the margin command share: how it is started, its report read back, input files of a
// test's own.
#pragma once

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ChildProcess.h"
#include "ExampleBook.h"
#include "PrivateRouter.h"

namespace quindal::test {

inline std::vector<std::string> Margin(std::vector<std::string> further,
                                       const std::string& accounts = Example("accounts.csv"),
                                       const std::string& positions = Example("positions.csv"))
{
    std::vector<std::string> arguments{QUINDAL_COMMAND, "margin", "--accounts", accounts, "--positions", positions};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}
inline std::vector<std::string> MarginOfExamples(const std::string& format)
{
    return Margin({"--instruments", Example("market.xml"), "--format", format});
}

/// The cells between separators; two separators in a row enclose an empty one.
inline std::vector<std::string> Split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> cells;
    std::size_t begin = 0;
    for (std::size_t at = 0; (at = text.find(separator, begin)) != std::string::npos;) {
        cells.push_back(text.substr(begin, at - begin));
        begin = at + separator.size();
    }
    cells.push_back(text.substr(begin));
    return cells;
}

/// The same for columns that stand two or more blanks apart.
inline std::vector<std::string> SplitColumns(const std::string& line)
{
    std::vector<std::string> cells;
    for (std::string cell : Split(line, "  ")) {
        cell.erase(0, cell.find_first_not_of(' '));
        if (!cell.empty()) cells.push_back(cell);
    }
    return cells;
}

/// The last columns of a csv report.
inline constexpr const char* ProvenanceColumns = ",market,market_sha256,market_time,library,currency";

/// A csv report without its last columns, which say what it was computed from. Their cells have no commas in these
/// tests.
inline std::string FiguresOf(const std::string& csv)
{
    std::string figures;
    std::istringstream stream(csv);
    for (std::string line; std::getline(stream, line);) {
        for (int column = 0; column < 5; ++column) {
            const std::size_t comma = line.rfind(',');
            EXPECT_NE(comma, std::string::npos) << line;
            line.resize(std::min(comma, line.size()));
        }
        figures += line + '\n';
    }
    return figures;
}

/// Figures of one row of the report; those of clients come first.
struct Row
{
    std::string code;
    std::string parent;
    std::optional<double> volatility;
    std::optional<double> delivery;
    double go = 0.0;
};

inline std::vector<Row> FromCsv(const std::string& text)
{
    EXPECT_EQ(text.substr(0, text.find('\n')),
              std::string("level,code,parent,volatility_go,delivery_and_volatility_go,go") + ProvenanceColumns);
    std::istringstream stream(FiguresOf(text));
    std::string line;
    std::getline(stream, line);
    std::vector<Row> rows;
    while (std::getline(stream, line)) {
        const std::vector<std::string> cells = Split(line, ",");
        EXPECT_EQ(cells.size(), 6U) << line;
        Row row{cells[1], cells[2], {}, {}, std::stod(cells[5])};
        if (!cells[3].empty()) row.volatility = std::stod(cells[3]);
        if (!cells[4].empty()) row.delivery = std::stod(cells[4]);
        rows.push_back(row);
    }
    return rows;
}

inline std::vector<Row> FromJson(const std::string& text)
{
    const auto document = nlohmann::json::parse(text);
    std::vector<Row> rows;
    for (const auto& client : document.at("clients"))
        rows.push_back({client.at("code"), client.at("firm"), client.at("volatilityGO").get<double>(),
                        client.at("deliveryAndVolatilityGO").get<double>(), client.at("GO")});
    for (const auto& firm : document.at("firms"))
        rows.push_back({firm.at("code"), firm.at("settlementAccount"), {}, {}, firm.at("GO")});
    for (const auto& account : document.at("settlementAccounts"))
        rows.push_back({account.at("id"), "", {}, {}, account.at("GO")});
    return rows;
}

// "112 756.53": blanks between thousands.
inline double Ungrouped(std::string text)
{
    std::erase(text, ' ');
    return std::stod(text);
}

// Columns stand at least two blanks apart; a heading begins each of the three tables.
inline std::vector<Row> FromTable(const std::string& text)
{
    std::vector<Row> rows;
    std::istringstream stream(text);
    bool isHeading = true;
    for (std::string line; std::getline(stream, line); isHeading = line.empty()) {
        if (line.empty() || isHeading) continue;
        const std::vector<std::string> cells = SplitColumns(line);
        switch (cells.size()) {
        case 5:
            rows.push_back({cells[0], cells[1], Ungrouped(cells[2]), Ungrouped(cells[3]), Ungrouped(cells[4])});
            break;
        case 3:
            rows.push_back({cells[0], cells[1] == "-" ? "" : cells[1], {}, {}, Ungrouped(cells[2])});
            break;
        case 2:
            rows.push_back({cells[0], "", {}, {}, Ungrouped(cells[1])});
            break;
        default:
            ADD_FAILURE() << line;
        }
    }
    return rows;
}

class CommandErrors : public testing::Test
{
protected:
    std::string Write(const std::string& name, const std::string& content)
    {
        const std::string path = (folder.Path() / name).string();
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    static Finished RunWith(const std::string& accountsFile, const std::string& positionsFile)
    {
        return RunToEnd(Margin({"--instruments", Example("market.xml")}, accountsFile, positionsFile));
    }
    static void ExpectRefusal(const Finished& finished)
    {
        EXPECT_NE(finished.status, 0);
        EXPECT_LT(finished.status, 128) << "an exit, no crash";
        EXPECT_THAT(finished.out, testing::IsEmpty());
        EXPECT_THAT(finished.errors, testing::HasSubstr("quindal: "));
    }

    quindal::TemporaryFolder folder{"quindal-errors-"};
    const std::string accounts = Write("good_accounts.csv", "level,code,parent\nfirm,AA01,\nclient,AA01001,\n");
    const std::string positions = Write("good_positions.csv", "level,code,instrument,quantity\n"
                                                              "client,AA01001,INDX-12.26,1\n");
};

/// A contract to be worked by hand: prices 900, 1000 and 1100, one unit of price is worth 1 of a currency whose rate
/// moves by 0.05. The series expires within the hour; its premium is paid up front.
inline constexpr const char* OptionsMarket = R"(<root>
  <Currency IndicatorID="840" Radius="0.05"/>
  <BaseContract Code="BC" CodeMCS="" VolatNum="3" MSPType="1" ShortOptionMinimumCharge="0" IndicatorID="840"
    MarketRisk="0.1" MarketRisk1="0.1" MarketRisk2="0.1" MarketRiskLow="0.1" MarketRisk1Low="0.1" MarketRisk2Low="0.1"
    MarketRiskMedium="0.1" MarketRisk1Medium="0.1" MarketRisk2Medium="0.1" MarketRiskHigh="0.1" MarketRisk1High="0.1"
    MarketRisk2High="0.1" MarketRiskExceptional="0.1" MarketRisk1Exceptional="0.1" MarketRisk2Exceptional="0.1"
    ConcentrationLimit1="1000000" ConcentrationLimit2="1000000" RiskPointsN="1" WindowSizePercentage="0.5"
    OptionModel="0" SpotPrice="1000" AssetClass="1" CFRisk="0"/>
  <Futures Code="FUT" CodeBC="BC" Isin="1" CalcFutPrice="1000" SpreadAspect="0" MinStepPrice="1" RealCalcPrice="1000"
    MinStep="1" ExpiredDate="2026-12-17 19:00:00" Spot="0" XLot="1" Lot="1" InterestRateRiskUp="0"
    InterestRateRiskDown="0" TimeToExpiration="0.25" NormalizedSpot="1000" Attribute="0" MRAddOnUp="0" MRAddOnDown="0"
    EnforceIMSHalfNetting="0" TASBaseFutCode=""/>
  <VirtFutures Code="PAID" CodeRF="FUT" A_Black="20" B_Black="0" C_Black="0" D_Black="0" E_Black="1" S_Black="0"
    UseNullVolat="0" StrikeStep="100" ExpClearingsSA="0" ExpClearingsBF="0" ExpClearingsCC="0" VolatilityRisk="0.25"
    VolatilityRiskMismatch="0" TimeToExpiration="0.0001" A_Bach="1" B_Bach="0" C_Bach="0" D_Bach="0" E_Bach="1"
    S_Bach="0" M_Bach="100" MarginStyle="1" SettlementType="0" ExerciseStyle="1" SubRisk="0" SpreadAspect="0"
    EnforceHalfNetting="0" MinStep="1" MinStepPrice="1" LotCoeff="1" r="0" InterestRateRiskUp="0"
    InterestRateRiskDown="0" FixedSpotDiscount="0" ProjectedSpotDiscount="0" r2="0" InterestRate2RiskUp="0"
    InterestRate2RiskDown="0"/>
  <Option Code="PAID-C1000" CodeVF="PAID" Strike="1000" OptType="2" CalcOptPrice="10"/>
  <Option Code="PAID-P1000" CodeVF="PAID" Strike="1000" OptType="1" CalcOptPrice="12"/>
</root>
)";

} // namespace quindal::test
