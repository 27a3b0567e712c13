// ExampleBook: the files of examples/, read by plain means into records of the plain margin model.
#pragma once

#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include "CsvTable.h"
#include "PlainMargin.h"

namespace quindal::test {

inline std::string Example(const std::string& name) { return std::string(QUINDAL_EXAMPLES) + "/" + name; }

/// Attributes of one element; a missing one throws.
class Attributes
{
public:
    explicit Attributes(const boost::property_tree::ptree& element) : m_element(element) {}
    [[nodiscard]] std::string Text(const std::string& name) const
    {
        return m_element.get<std::string>("<xmlattr>." + name);
    }
    [[nodiscard]] double Number(const std::string& name) const { return std::stod(Text(name)); }
    [[nodiscard]] std::int32_t Integer(const std::string& name) const { return std::stoi(Text(name)); }

private:
    const boost::property_tree::ptree& m_element;
};

inline BaseContractSample ReadBaseContract(const Attributes& element)
{
    BaseContractSample c;
    c.Code = element.Text("Code");
    c.CodeMCS = element.Text("CodeMCS");
    c.VolatNum = element.Integer("VolatNum");
    c.MSPType = static_cast<Enums::MSPType>(element.Integer("MSPType"));
    c.CurrencyId = element.Integer("IndicatorID");
    c.ShortOptionMinimumCharge = element.Number("ShortOptionMinimumCharge");
    c.SpotPrice = element.Number("SpotPrice");
    const kv7im::RiskLevelIndexedArray<std::string> words{"", "Low", "Medium", "High", "Exceptional"};
    for (const Enums::ClientRiskLevel level : Enums::PossibleClientRiskLevelValues) {
        c.MarketRisk[level] = element.Number("MarketRisk" + words[level]);
        c.MarketRisk1[level] = element.Number("MarketRisk1" + words[level]);
        c.MarketRisk2[level] = element.Number("MarketRisk2" + words[level]);
    }
    c.ConcentrationLimit1 = element.Integer("ConcentrationLimit1");
    c.ConcentrationLimit2 = element.Integer("ConcentrationLimit2");
    c.RiskPointsN = element.Integer("RiskPointsN");
    c.WindowSizePercentage = element.Number("WindowSizePercentage");
    c.OptionModel = static_cast<Enums::OptionModel>(element.Integer("OptionModel"));
    c.AssetClass = static_cast<Enums::AssetClass>(element.Integer("AssetClass"));
    c.CFRisk = element.Number("CFRisk");
    return c;
}

inline FuturesSample ReadFutures(const Attributes& element)
{
    FuturesSample f;
    f.Code = element.Text("Code");
    f.CodeBC = element.Text("CodeBC");
    f.Isin = element.Integer("Isin");
    f.CalcFutPrice = element.Number("CalcFutPrice");
    f.SpreadAspect = static_cast<Enums::SpreadAspect>(element.Integer("SpreadAspect"));
    f.MinStepPrice = element.Number("MinStepPrice");
    f.RealCalcPrice = element.Number("RealCalcPrice");
    f.MinStep = element.Number("MinStep");
    f.XLot = element.Number("XLot");
    f.InterestRateRiskUp = element.Number("InterestRateRiskUp");
    f.InterestRateRiskDown = element.Number("InterestRateRiskDown");
    f.TimeToExpiration = element.Number("TimeToExpiration");
    f.NormalizedSpot = element.Number("NormalizedSpot");
    f.Attribute = static_cast<Enums::InstrumentStatus>(element.Integer("Attribute"));
    f.MRAddOnUp = element.Number("MRAddOnUp");
    f.MRAddOnDown = element.Number("MRAddOnDown");
    f.EnforceIMSHalfNetting = element.Integer("EnforceIMSHalfNetting") != 0;
    return f;
}

inline kv7im::OptionSeriesParameters ReadSeries(const Attributes& element)
{
    kv7im::OptionSeriesParameters s;
    s.Code = element.Text("Code");
    s.CodeRF = element.Text("CodeRF");
    const std::pair<const char*, double*> numbers[] = {{"A_Black", &s.A},
                                                       {"B_Black", &s.B},
                                                       {"C_Black", &s.C},
                                                       {"D_Black", &s.D},
                                                       {"E_Black", &s.E},
                                                       {"S_Black", &s.S},
                                                       {"StrikeStep", &s.StrikeStep},
                                                       {"VolatilityRisk", &s.VolatilityRisk},
                                                       {"VolatilityRiskMismatch", &s.VolatilityRiskMismatch},
                                                       {"TimeToExpiration", &s.TimeToExpiration},
                                                       {"A_Bach", &s.A_Bach},
                                                       {"B_Bach", &s.B_Bach},
                                                       {"C_Bach", &s.C_Bach},
                                                       {"D_Bach", &s.D_Bach},
                                                       {"E_Bach", &s.E_Bach},
                                                       {"S_Bach", &s.S_Bach},
                                                       {"M_Bach", &s.M_Bach},
                                                       {"MinStep", &s.MinStep},
                                                       {"MinStepPrice", &s.MinStepPrice},
                                                       {"r", &s.R},
                                                       {"InterestRateRiskUp", &s.InterestRateRiskUp},
                                                       {"InterestRateRiskDown", &s.InterestRateRiskDown},
                                                       {"FixedSpotDiscount", &s.FixedSpotDiscount},
                                                       {"ProjectedSpotDiscount", &s.ProjectedSpotDiscount},
                                                       {"r2", &s.R2},
                                                       {"InterestRate2RiskUp", &s.InterestRate2RiskUp},
                                                       {"InterestRate2RiskDown", &s.InterestRate2RiskDown}};
    for (const auto& [name, number] : numbers)
        *number = element.Number(name);
    s.UseNullVolat = element.Integer("UseNullVolat") != 0;
    s.ExpClearingsSA = element.Integer("ExpClearingsSA");
    s.ExpClearingsBF = element.Integer("ExpClearingsBF");
    s.ExpClearingsCC = element.Integer("ExpClearingsCC");
    s.marginStyle = static_cast<Enums::MarginStyle>(element.Integer("MarginStyle"));
    s.settlementType = static_cast<Enums::SettlementType>(element.Integer("SettlementType"));
    s.exerciseStyle = static_cast<Enums::ExerciseStyle>(element.Integer("ExerciseStyle"));
    s.SubRisk = element.Integer("SubRisk") != 0;
    s.SpreadAspect = static_cast<Enums::SpreadAspect>(element.Integer("SpreadAspect"));
    s.EnforceHalfNetting = element.Integer("EnforceHalfNetting") != 0;
    s.LotCoeff = element.Integer("LotCoeff");
    return s;
}

/// The document gives options no isin; any that no futures has will do.
inline OptionSample ReadOption(const Attributes& element, Isin isin)
{
    OptionSample o;
    o.Code = element.Text("Code");
    o.CodeVF = element.Text("CodeVF");
    o.Strike = element.Number("Strike");
    o.OptionType = static_cast<Enums::OptionType>(element.Integer("OptType"));
    o.CalcOptPrice = element.Number("CalcOptPrice");
    o.Isin = isin;
    return o;
}

/// A calendar spread comes in two rows, one a leg.
inline void TakeLeg(std::vector<MultilegSample>& multilegs, const Attributes& row)
{
    const Isin isin = row.Integer("Isin");
    auto place = std::find_if(multilegs.begin(), multilegs.end(), [&](const auto& m) { return m.Isin == isin; });
    if (place == multilegs.end()) {
        place = multilegs.insert(place, MultilegSample());
        place->Isin = isin;
    }
    const bool first = row.Integer("LegOrderNum") == 1;
    (first ? place->FirstLeg : place->SecondLeg) = row.Integer("IsinLeg");
    (first ? place->FirstRatio : place->SecondRatio) = row.Integer("QuantityRatio");
}

/// PREFIX-NEAR and PREFIX-FAR make PREFIX-NEAR-FAR.
inline void NameMultilegs(plain::Market& market)
{
    for (MultilegSample& multileg : market.multilegs) {
        std::string codes[2];
        for (const FuturesSample& futures : market.futures) {
            if (futures.Isin == multileg.FirstLeg) codes[0] = futures.Code;
            if (futures.Isin == multileg.SecondLeg) codes[1] = futures.Code;
        }
        multileg.Code = codes[0] + codes[1].substr(codes[1].find('-'));
    }
}

inline plain::Market ReadMarket(const std::string& file)
{
    boost::property_tree::ptree document;
    boost::property_tree::read_xml(file, document);
    plain::Market market;
    for (const auto& [tag, element] : document.get_child("root")) {
        const Attributes attributes(element);
        if (tag == "CommonParameters") market.edgeCoeff = attributes.Number("EdgeCoeff");
        if (tag == "Currency") market.currencies[attributes.Integer("IndicatorID")] = attributes.Number("Radius");
        if (tag == "BaseContract") market.baseContracts.push_back(ReadBaseContract(attributes));
        if (tag == "Futures") {
            FuturesSample futures = ReadFutures(attributes);
            for (const FuturesSample& other : market.futures)
                if (other.Code == attributes.Text("TASBaseFutCode")) futures.TASBaseFutIsinID = other.Isin;
            market.futures.push_back(futures);
        }
        if (tag == "VirtFutures") market.series.push_back(ReadSeries(attributes));
        if (tag == "Option")
            market.options.push_back(ReadOption(attributes, 1'000'000 + static_cast<Isin>(market.options.size())));
        if (tag == "Multileg") TakeLeg(market.multilegs, attributes);
    }
    NameMultilegs(market);
    return market;
}

struct ClientOfExamples
{
    std::string code;
    plain::Rules rules;
    double goRatio = 1.0;
    double deliveryWeight = 1.0;
    plain::Book book = {};
};

inline Enums::SpreadMarginType Spread(const std::string& word, Enums::SpreadMarginType byDefault)
{
    using enum Enums::SpreadMarginType;
    if (word.empty()) return byDefault;
    return word == "netting" ? Netting : word == "half_netting" ? HalfNetting : Unused;
}

inline Enums::ClientRiskLevel Level(const std::string& word)
{
    using enum Enums::ClientRiskLevel;
    const std::map<std::string, Enums::ClientRiskLevel> levels{
        {"", Default}, {"low", Low}, {"medium", Medium}, {"high", High}, {"exceptional", Exceptional}};
    return levels.at(word);
}

/// A file of the examples: cells by the names of their columns, empty where there is none.
class Table
{
public:
    explicit Table(const std::string& name)
    {
        Problems problems;
        m_table = ReadCsv(ReadInput(Example(name)), problems);
        problems.ThrowIfAny();
    }
    [[nodiscard]] std::size_t size() const { return m_table.rows.size(); }
    [[nodiscard]] std::string Text(std::size_t row, const std::string& column) const
    {
        const auto& names = m_table.header.cells;
        const auto place = static_cast<std::size_t>(std::find(names.begin(), names.end(), column) - names.begin());
        const auto& cells = m_table.rows[row].cells;
        return place < names.size() && place < cells.size() ? cells[place] : "";
    }
    [[nodiscard]] double Number(std::size_t row, const std::string& column, double byDefault) const
    {
        const std::string text = Text(row, column);
        return text.empty() ? byDefault : std::stod(text);
    }
    [[nodiscard]] std::int64_t Integer(std::size_t row, const std::string& column, std::int64_t byDefault) const
    {
        const std::string text = Text(row, column);
        return text.empty() ? byDefault : std::stoll(text);
    }

private:
    CsvTable m_table;
};

/// Clients of the accounts file, in its order. Ratios of a firm stand before its clients.
inline std::vector<ClientOfExamples> ReadAccountsOfClients()
{
    const Table accounts("accounts.csv");
    std::map<std::string, std::map<std::string, double>> ratiosOfFirms;
    std::map<std::string, double> weightsOfFirms; // for clients that have none of their own
    std::vector<ClientOfExamples> clients;
    for (std::size_t row = 0; row < accounts.size(); ++row) {
        if (accounts.Text(row, "level") == "ratio")
            ratiosOfFirms[accounts.Text(row, "code")][accounts.Text(row, "parent")] =
                accounts.Number(row, "go_ratio", 1.0);
        if (accounts.Text(row, "level") == "firm")
            weightsOfFirms[accounts.Text(row, "code")] = accounts.Number(row, "exp_weight_client_default", 1.0);
        if (accounts.Text(row, "level") != "client") continue;
        ClientOfExamples& client = clients.emplace_back();
        client.code = accounts.Text(row, "code");
        client.goRatio = accounts.Number(row, "go_ratio", 1.0);
        client.rules.level = Level(accounts.Text(row, "risk_level"));
        client.rules.noFutDiscount = accounts.Text(row, "no_discount") == "1";
        client.rules.calendar = Spread(accounts.Text(row, "calendar"), Enums::SpreadMarginType::Netting);
        client.rules.interContract = Spread(accounts.Text(row, "inter_contract"), Enums::SpreadMarginType::HalfNetting);
        client.rules.shortChargeRatio = accounts.Number(row, "short_charge_ratio", 1.0);
        client.rules.ratios = ratiosOfFirms[client.code.substr(0, 4)];
        client.rules.clearings = static_cast<std::int32_t>(accounts.Integer(row, "clearings", 0));
        client.deliveryWeight = accounts.Number(row, "exp_weight", weightsOfFirms[client.code.substr(0, 4)]);
    }
    return clients;
}

inline ClientOfExamples& FindClient(std::vector<ClientOfExamples>& clients, const std::string& code)
{
    for (ClientOfExamples& client : clients)
        if (client.code == code) return client;
    throw std::runtime_error("the examples do not know " + code);
}

/// Futures, option or calendar spread: its isin and its calculated price, which a calendar spread has not.
inline std::pair<Isin, double> FindInstrument(const plain::Market& market, const std::string& code)
{
    for (const FuturesSample& futures : market.futures)
        if (futures.Code == code) return {futures.Isin, futures.CalcFutPrice};
    for (const OptionSample& option : market.options)
        if (option.Code == code) return {option.Isin, option.CalcOptPrice};
    for (const MultilegSample& multileg : market.multilegs)
        if (multileg.Code == code) return {multileg.Isin, std::numeric_limits<double>::quiet_NaN()};
    throw std::runtime_error("the examples do not know " + code);
}

/// Clients of the examples with what they hold; the last clearing left all of it. An empty price is the calculated one.
inline std::vector<ClientOfExamples> ReadClients(const plain::Market& market)
{
    std::vector<ClientOfExamples> clients = ReadAccountsOfClients();
    const Table positions("positions.csv");
    for (std::size_t row = 0; row < positions.size(); ++row) {
        if (positions.Text(row, "level") != "client") continue;
        ClientOfExamples& client = FindClient(clients, positions.Text(row, "code"));
        const auto [isin, price] = FindInstrument(market, positions.Text(row, "instrument"));
        const std::int64_t quantity = positions.Integer(row, "quantity", 0);
        client.book[isin] = {quantity, positions.Number(row, "price", price), quantity};
    }
    return clients;
}

/// The orders of one client in a what-if.
struct WhatIfOfExamples
{
    std::string label;
    std::string client;
    plain::OrderBook orders = {};
};

/// What-ifs of the orders file, which labels each of them, a line for each label and client as they first come.
inline std::vector<WhatIfOfExamples> ReadWhatIfs(const plain::Market& market)
{
    const Table table("orders.csv");
    std::vector<WhatIfOfExamples> whatIfs;
    for (std::size_t row = 0; row < table.size(); ++row) {
        const auto isOfRow = [&](const WhatIfOfExamples& whatIf) {
            return whatIf.label == table.Text(row, "what_if") && whatIf.client == table.Text(row, "client");
        };
        auto place = std::find_if(whatIfs.begin(), whatIfs.end(), isOfRow);
        if (place == whatIfs.end())
            place = whatIfs.insert(place, {table.Text(row, "what_if"), table.Text(row, "client")});
        const auto [isin, price] = FindInstrument(market, table.Text(row, "instrument"));
        place->orders.Change(isin, table.Text(row, "side") == "buy", table.Number(row, "price", price),
                             table.Integer(row, "quantity", 0));
    }
    return whatIfs;
}

} // namespace quindal::test
