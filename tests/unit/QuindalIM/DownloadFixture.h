// DownloadFixture: a calculator that downloads, and replies that are built element by element.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <snappy.h>

#include "CalcGOEx.h"
#include "FakeQueue.h"
#include "LogCapture.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "Z9MQCore.h"
#include "instruments/InstrumentsRepository.h"

/// One element of a reply, to be changed attribute by attribute.
class Element
{
public:
    Element(std::string tag, std::vector<std::pair<std::string, std::string>> attributes)
        : m_tag(std::move(tag)), m_attributes(std::move(attributes))
    {}
    [[nodiscard]] Element With(const std::string& name, const std::string& value) const
    {
        Element changed = *this;
        for (auto& attribute : changed.m_attributes)
            if (attribute.first == name) attribute.second = value;
        return changed;
    }
    [[nodiscard]] Element Without(const std::string& name) const
    {
        Element changed = *this;
        std::erase_if(changed.m_attributes, [&name](const auto& attribute) { return attribute.first == name; });
        return changed;
    }
    [[nodiscard]] std::string Xml() const
    {
        std::string xml = "<" + m_tag;
        for (const auto& [name, value] : m_attributes)
            xml += " " + name + "=\"" + value + "\"";
        return xml + "/>";
    }
    [[nodiscard]] std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const auto& attribute : m_attributes)
            names.push_back(attribute.first);
        return names;
    }

private:
    std::string m_tag;
    std::vector<std::pair<std::string, std::string>> m_attributes;
};

// Every attribute has a value of its own, so that no two can be taken for each other.
inline const Element currency("Currency", {{"IndicatorID", "840"}, {"Radius", "0.045"}});
inline const Element baseContract("BaseContract", {{"Code", "BC"},
                                                   {"CodeMCS", "GROUP"},
                                                   {"VolatNum", "5"},
                                                   {"MSPType", "1"},
                                                   {"ShortOptionMinimumCharge", "0.125"},
                                                   {"IndicatorID", "840"},
                                                   {"MarketRisk", "0.10"},
                                                   {"MarketRisk1", "0.11"},
                                                   {"MarketRisk2", "0.12"},
                                                   {"MarketRiskLow", "0.13"},
                                                   {"MarketRisk1Low", "0.14"},
                                                   {"MarketRisk2Low", "0.15"},
                                                   {"MarketRiskMedium", "0.16"},
                                                   {"MarketRisk1Medium", "0.17"},
                                                   {"MarketRisk2Medium", "0.18"},
                                                   {"MarketRiskHigh", "0.19"},
                                                   {"MarketRisk1High", "0.20"},
                                                   {"MarketRisk2High", "0.21"},
                                                   {"MarketRiskExceptional", "0.22"},
                                                   {"MarketRisk1Exceptional", "0.23"},
                                                   {"MarketRisk2Exceptional", "0.24"},
                                                   {"ConcentrationLimit1", "60000"},
                                                   {"ConcentrationLimit2", "5000000000"}, // more than 32 bits
                                                   {"RiskPointsN", "40"},
                                                   {"WindowSizePercentage", "0.25"},
                                                   {"OptionModel", "1"},
                                                   {"SpotPrice", "101.5"},
                                                   {"AssetClass", "5"},
                                                   {"CFRisk", "0.0625"}});
inline const Element futures("Futures", {{"Code", "FUT-12.26"},
                                         {"CodeBC", "BC"},
                                         {"Isin", "1001"},
                                         {"CalcFutPrice", "1002.5"},
                                         {"SpreadAspect", "2"},
                                         {"MinStepPrice", "12.5"},
                                         {"RealCalcPrice", "1001.25"},
                                         {"MinStep", "0.5"},
                                         {"ExpiredDate", "2026-12-17 19:00:00"},
                                         {"Spot", "0"},
                                         {"XLot", "7"},
                                         {"Lot", "8"},
                                         {"InterestRateRiskUp", "0.03"},
                                         {"InterestRateRiskDown", "0.025"},
                                         {"TimeToExpiration", "0.0712"},
                                         {"NormalizedSpot", "1015"},
                                         {"Attribute", "1024"},
                                         {"MRAddOnUp", "0.01"},
                                         {"MRAddOnDown", "0.02"},
                                         {"EnforceIMSHalfNetting", "1"},
                                         {"TASBaseFutCode", ""}});
inline const Element optionSeries("VirtFutures", {{"Code", "SER-12.26"},
                                                  {"CodeRF", "FUT-12.26"},
                                                  {"A_Black", "21.5"},
                                                  {"B_Black", "22.5"},
                                                  {"C_Black", "0.5"},
                                                  {"D_Black", "-1.25"},
                                                  {"E_Black", "2.25"},
                                                  {"S_Black", "0.0625"},
                                                  {"UseNullVolat", "1"},
                                                  {"StrikeStep", "50"},
                                                  {"ExpClearingsSA", "3"},
                                                  {"ExpClearingsBF", "4"},
                                                  {"ExpClearingsCC", "5"},
                                                  {"VolatilityRisk", "0.125"},
                                                  {"VolatilityRiskMismatch", "0.1875"},
                                                  {"TimeToExpiration", "0.25"},
                                                  {"A_Bach", "0.75"},
                                                  {"B_Bach", "0.875"},
                                                  {"C_Bach", "0.375"},
                                                  {"D_Bach", "-0.25"},
                                                  {"E_Bach", "1.75"},
                                                  {"S_Bach", "0.03125"},
                                                  {"M_Bach", "110"},
                                                  {"MarginStyle", "1"},
                                                  {"SettlementType", "1"},
                                                  {"ExerciseStyle", "1"},
                                                  {"SubRisk", "1"},
                                                  {"SpreadAspect", "2"},
                                                  {"EnforceHalfNetting", "1"},
                                                  {"MinStep", "0.5"},
                                                  {"MinStepPrice", "6.5"},
                                                  {"LotCoeff", "10"},
                                                  {"r", "0.07"},
                                                  {"InterestRateRiskUp", "0.011"},
                                                  {"InterestRateRiskDown", "0.012"},
                                                  {"FixedSpotDiscount", "1.5"},
                                                  {"ProjectedSpotDiscount", "2.5"},
                                                  {"r2", "0.03"},
                                                  {"InterestRate2RiskUp", "0.013"},
                                                  {"InterestRate2RiskDown", "0.014"}});
inline const Element option("Option", {{"Code", "OPT-1000C"},
                                       {"CodeVF", "SER-12.26"},
                                       {"Strike", "1000.125"},
                                       {"OptType", "2"},
                                       {"CalcOptPrice", "12.25"}});

inline std::string Document(const std::vector<Element>& elements)
{
    std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<root>\n";
    for (const Element& element : elements)
        xml += "  " + element.Xml() + "\n";
    return xml + "</root>\n";
}

inline PlainMessage PlainReply(const std::string& xml)
{
    PlainMessage reply = ServerAnswer(110);
    reply.numbers["snappy_support"] = 0;
    reply.body = xml;
    return reply;
}

inline PlainMessage CompressedReply(const std::string& xml)
{
    PlainMessage reply = ServerAnswer(110);
    snappy::Compress(xml.data(), xml.size(), &reply.body);
    reply.numbers["snappy_support"] = 1;
    reply.numbers["snappy_decompressedSize"] = static_cast<std::uint32_t>(xml.size());
    reply.numbers["snappy_compressedSize"] = static_cast<std::uint32_t>(reply.body.size());
    return reply;
}

class DownloadFixture : public testing::Test
{
protected:
    DownloadFixture() : calculator(participants, instruments, accounting)
    {
        TheQueue() = FakeQueue();
        LogIn();
    }
    ~DownloadFixture() override { TheQueue() = FakeQueue(); }

    void LogIn(const std::string& xmlPath = "")
    {
        TheQueue().news = {RouterState(Z9MQ_ROUTER_CONNECTED, FakeQueue::LoginId)};
        if (!core.Startup(4001, 3000, xmlPath) || !core.Connect() || !core.Login("USER01", "secret1"))
            throw std::runtime_error("no login");
        TheQueue().properties.clear();
        static_cast<void>(log.Take());
    }
    bool Download(const PlainMessage& reply, const char* datetime = nullptr)
    {
        TheQueue().onRequest = [reply](const SentRequest&) { return std::optional(reply); };
        return core.GetInstrumentParameters(calculator, datetime);
    }
    bool Download(const std::vector<Element>& elements) { return Download(PlainReply(Document(elements))); }
    [[nodiscard]] std::string LastError() const { return core.GetLastError(); }

    LogCapture log;
    pos::PositionCalculatorInstruments accounting;
    kv7im::InstrumentsRepository instruments;
    ParticipantRepository participants;
    QuindalIM::CCalcGOEx calculator;
    QuindalIM::Z9MQCore core;
};
