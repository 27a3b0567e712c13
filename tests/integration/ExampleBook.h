// ExampleBook: the files of examples/, read by plain means into records of the plain margin model.
#pragma once

#include <map>
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
    const std::pair<const char*, double*> rates[] = {{"MarketRisk", &c.MarketRisk},
                                                     {"MarketRisk1", &c.MarketRisk1},
                                                     {"MarketRisk2", &c.MarketRisk2},
                                                     {"MarketRiskLow", &c.MarketRiskLow},
                                                     {"MarketRisk1Low", &c.MarketRisk1Low},
                                                     {"MarketRisk2Low", &c.MarketRisk2Low},
                                                     {"MarketRiskMedium", &c.MarketRiskMedium},
                                                     {"MarketRisk1Medium", &c.MarketRisk1Medium},
                                                     {"MarketRisk2Medium", &c.MarketRisk2Medium},
                                                     {"MarketRiskHigh", &c.MarketRiskHigh},
                                                     {"MarketRisk1High", &c.MarketRisk1High},
                                                     {"MarketRisk2High", &c.MarketRisk2High},
                                                     {"MarketRiskExceptional", &c.MarketRiskExceptional},
                                                     {"MarketRisk1Exceptional", &c.MarketRisk1Exceptional},
                                                     {"MarketRisk2Exceptional", &c.MarketRisk2Exceptional}};
    for (const auto& [name, rate] : rates)
        *rate = element.Number(name);
    c.ConcentrationLimit1 = element.Integer("ConcentrationLimit1");
    c.ConcentrationLimit2 = element.Integer("ConcentrationLimit2");
    c.RiskPointsN = element.Integer("RiskPointsN");
    c.WindowSizePercentage = element.Number("WindowSizePercentage");
    c.AssetClass = static_cast<Enums::AssetClass>(element.Integer("AssetClass"));
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
        if (tag == "Futures") market.futures.push_back(ReadFutures(attributes));
    }
    return market;
}

struct ClientOfExamples
{
    std::string code;
    plain::Rules rules;
    double goRatio = 1.0;
    plain::Book book = {};
    bool tracksSettlement = false; // holds a trade-at-settlement contract, which the plain model does not know
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

/// Clients of the accounts file, in its order. Ratios of a firm stand before its clients.
inline std::vector<ClientOfExamples> ReadAccountsOfClients()
{
    constexpr std::string_view columns[] = {"level",      "code",           "parent",     "margin_rule",
                                            "calendar",   "inter_contract", "exp_weight", "exp_weight_client_default",
                                            "clearings",  "no_discount",    "go_ratio",   "short_charge_ratio",
                                            "risk_level", "account_type"};
    const CsvTable accounts(Example("accounts.csv"), columns);
    std::map<std::string, std::map<std::string, double>> ratiosOfFirms;
    std::vector<ClientOfExamples> clients;
    for (std::size_t i = 0; i < accounts.size(); ++i) {
        const CsvRow row = accounts[i];
        if (row.Text("level") == "ratio")
            ratiosOfFirms[row.Text("code")][row.Text("parent")] = row.Number("go_ratio", 1.0);
        if (row.Text("level") != "client") continue;
        ClientOfExamples& client = clients.emplace_back();
        client.code = row.Text("code");
        client.goRatio = row.Number("go_ratio", 1.0);
        client.rules.level = Level(row.Text("risk_level"));
        client.rules.noFutDiscount = row.Text("no_discount") == "1";
        client.rules.calendar = Spread(row.Text("calendar"), Enums::SpreadMarginType::Netting);
        client.rules.interContract = Spread(row.Text("inter_contract"), Enums::SpreadMarginType::HalfNetting);
        client.rules.shortChargeRatio = row.Number("short_charge_ratio", 1.0);
        client.rules.ratios = ratiosOfFirms[client.code.substr(0, 4)];
    }
    return clients;
}

template <class Items, class Member>
auto& Find(Items& items, Member member, const std::string& value)
{
    for (auto& item : items)
        if (item.*member == value) return item;
    throw std::runtime_error("the examples do not know " + value);
}

/// Clients of the examples with what they hold. An empty price is the calculated one.
inline std::vector<ClientOfExamples> ReadClients(const plain::Market& market)
{
    std::vector<ClientOfExamples> clients = ReadAccountsOfClients();
    constexpr std::string_view columns[] = {"level", "code", "instrument", "quantity", "price"};
    const CsvTable positions(Example("positions.csv"), columns);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const CsvRow row = positions[i];
        if (row.Text("level") != "client") continue;
        ClientOfExamples& client = Find(clients, &ClientOfExamples::code, row.Text("code"));
        const FuturesSample& futures = Find(market.futures, &FuturesSample::Code, row.Text("instrument"));
        client.book[futures.Isin] = {row.Integer("quantity", 0), row.Number("price", futures.CalcFutPrice)};
        client.tracksSettlement |= futures.Attribute == Enums::InstrumentStatus::TAS;
    }
    return clients;
}

} // namespace quindal::test
