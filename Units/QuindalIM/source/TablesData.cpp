#include "TablesData.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <utility>

#include <locale.h>

#include "Enums.h"
#include "XmlDocument.h"
#include "except.h"

namespace QuindalIM {

using kv7base::CZ9Error;
using kv7base::source_location;

namespace {

constexpr const char* FieldSeparator = ";";

template <class Names, class Value>
[[nodiscard]] std::string Joined(const Names& names, const Value& value)
{
    std::string row;
    for (const auto& name : names) {
        if (&name != &names.front()) row += FieldSeparator;
        row += value(name);
    }
    return row;
}

constexpr const char* NotFloatingPoint =
    "String \"%s\" should not contain characters except for representation of floating-point number";
constexpr const char* NotInteger = "String \"%s\" should not contain characters except for representation of integer";

/// Refuses a text that is no number, or more than one. The location names the conversion that refuses it.
[[noreturn]] void Refuse(const char* message, const std::string& text, const source_location& location)
{
    throw CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS, location).Fmt(message, text.c_str());
}

/// The number at the front of the text, in the form of the C locale: a host program that has set a decimal comma must
/// still read the exchange's numbers. `convert` is strtod_l or one of its kind, `name` the standard conversion that a
/// number beyond the type is reported under.
template <class Convert>
[[nodiscard]] auto ParseFront(const std::string& text, const char* name, std::size_t& consumed, const Convert& convert)
{
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    const int before = std::exchange(errno, 0);
    char* end = nullptr;
    const auto value = convert(text.c_str(), &end, classic);
    const bool isOutOfRange = errno == ERANGE;
    errno = before;
    consumed = static_cast<std::size_t>(end - text.c_str());
    if (isOutOfRange) throw std::out_of_range(name);
    return value;
}

/// Reads a text that is one integer and nothing else.
template <class T>
[[nodiscard]] T ParseInteger(const std::string& text, const char* name, const source_location& location)
{
    std::size_t consumed = 0;
    const long long value = ParseFront(text, name, consumed, [](const char* begin, char** end, locale_t locale) {
        return strtoll_l(begin, end, 10, locale);
    });
    if (consumed == 0 || consumed != text.size()) Refuse(NotInteger, text, location);
    if (value < std::numeric_limits<T>::min() || value > std::numeric_limits<T>::max()) throw std::out_of_range(name);
    return static_cast<T>(value);
}

/// The rates of a risk level stand together: of the band below the first concentration limit, between the two, above
/// the second.
[[nodiscard]] std::vector<std::string> BaseContractColumns()
{
    std::vector<std::string> names{"Code", "CodeMCS", "VolatNum", "MSPType", "ShortOptionMinimumCharge", "IndicatorID"};
    for (const Enums::ClientRiskLevelRow& level : Enums::ClientRiskLevels)
        for (const char* const rate : {"MarketRisk", "MarketRisk1", "MarketRisk2"})
            names.push_back(rate + std::string(level.columnSuffix));
    names.insert(names.end(), {"ConcentrationLimit1", "ConcentrationLimit2", "RiskPointsN", "WindowSizePercentage",
                               "OptionModel", "SpotPrice", "AssetClass", "CFRisk"});
    return names;
}

} // namespace

#define KV7_CONVERSION_LOCATION(name) source_location::current(__LINE__, 0, __FILE__, name)

template <>
double FromString<double>(const std::string& text)
{
    std::size_t consumed = 0;
    const double value = ParseFront(text, "stod", consumed, strtod_l);
    if (consumed == 0 || consumed != text.size())
        Refuse(NotFloatingPoint, text, KV7_CONVERSION_LOCATION("FromString<double>"));
    return value;
}

template <>
int FromString<int>(const std::string& text)
{
    return ParseInteger<int>(text, "stol", KV7_CONVERSION_LOCATION("FromString<int>"));
}

template <>
signed char FromString<signed char>(const std::string& text)
{
    return ParseInteger<signed char>(text, "stol", KV7_CONVERSION_LOCATION("FromString<signed char>"));
}

template <>
long FromString<long>(const std::string& text)
{
    return ParseInteger<long>(text, "stoll", KV7_CONVERSION_LOCATION("FromString<long int>"));
}

#undef KV7_CONVERSION_LOCATION

std::string GetAttr(pugi::xml_node element, const char* name)
{
    const pugi::xml_attribute attribute = element.attribute(name);
    if (!attribute) throw NoSuchNode(std::string("<xmlattr>.") + name);
    return attribute.value();
}

// AttributeList

AttributeList::AttributeList(std::initializer_list<const char*> names) : m_names(names.begin(), names.end()) {}

AttributeList::AttributeList(std::vector<std::string> names) noexcept : m_names(std::move(names)) {}

std::string AttributeList::GetAttributeList(pugi::xml_node element) const
{
    return Joined(m_names, [element](const std::string& name) { return GetAttribute(element, name); });
}

std::string AttributeList::GetAttributeListName() const
{
    return Joined(m_names, [](const std::string& name) -> const std::string& { return name; });
}

std::string AttributeList::GetAttribute(pugi::xml_node element, const std::string& name)
{
    return element.attribute(name.c_str()).value(); // empty for none
}

// Table

void Table::Clear() noexcept
{
    m_data.clear();
    m_cursor = 0;
}

bool Table::GetNextRow(std::string& row, bool header)
{
    if (header) {
        row = m_fieldNames;
        return true;
    }
    if (m_cursor == m_data.size()) return false;
    row = m_data[m_cursor++];
    return true;
}

// Dictionary

static_assert(Enums::OptionModels.size() == 2, "each pricing model has its smile among the columns of a series");
Dictionary::Dictionary()
    : CommonParametersFields{"EdgeCoeff"},
      CurrencyFields{"IndicatorID", "Radius"},
      BaseContractFields(BaseContractColumns()),
      // "BaseGO" is a column that the server no longer fills: empty in every row.
      FuturesFields{"Code",
                    "CodeBC",
                    "CalcFutPrice",
                    "SpreadAspect",
                    "MinStepPrice",
                    "BaseGO",
                    "RealCalcPrice",
                    "ExpiredDate",
                    "MinStep",
                    "Lot",
                    "XLot",
                    "InterestRateRiskUp",
                    "InterestRateRiskDown",
                    "TimeToExpiration",
                    "NormalizedSpot",
                    "Attribute",
                    "MRAddOnUp",
                    "MRAddOnDown",
                    "EnforceIMSHalfNetting"},
      // The expiry of a series is its TimeToExpiration; the date is shown where the server sends it.
      OptionSeriesFields{"Code",
                         "CodeRF",
                         "A_Black",
                         "B_Black",
                         "C_Black",
                         "D_Black",
                         "E_Black",
                         "ExpiredDate",
                         "UseNullVolat",
                         "S_Black",
                         "StrikeStep",
                         "ExpClearingsSA",
                         "ExpClearingsBF",
                         "ExpClearingsCC",
                         "VolatilityRisk",
                         "VolatilityRiskMismatch",
                         "TimeToExpiration",
                         "A_Bach",
                         "B_Bach",
                         "C_Bach",
                         "D_Bach",
                         "E_Bach",
                         "S_Bach",
                         "M_Bach",
                         "MarginStyle",
                         "SettlementType",
                         "ExerciseStyle",
                         "SubRisk",
                         "SpreadAspect",
                         "EnforceHalfNetting",
                         "MinStep",
                         "MinStepPrice",
                         "LotCoeff",
                         "r",
                         "InterestRateRiskUp",
                         "InterestRateRiskDown",
                         "FixedSpotDiscount",
                         "ProjectedSpotDiscount",
                         "r2",
                         "InterestRate2RiskUp",
                         "InterestRate2RiskDown"},
      // The three "...GO" columns come from an older edition of the reply and are empty in every row.
      OptionFields{"Code", "CodeVF", "Strike", "OptType", "CalcOptPrice", "BaseGOSell", "SynthBaseGO", "BaseGOBuy"},
      // The legs of a multileg come in rows of their own; what the table keeps is the code that they make.
      MultilegFields{"Code"},
      m_commonParameters(CommonParametersFields.GetAttributeListName()),
      m_currency(CurrencyFields.GetAttributeListName()),
      m_baseContract(BaseContractFields.GetAttributeListName()),
      m_futures(FuturesFields.GetAttributeListName()),
      m_optionSeries(OptionSeriesFields.GetAttributeListName()),
      m_option(OptionFields.GetAttributeListName()),
      m_multileg(MultilegFields.GetAttributeListName())
{}

void Dictionary::AddCommonParameters(const std::string& row) { m_commonParameters.AddRow(row); }
void Dictionary::AddCurrency(pugi::xml_node element) { m_currency.AddRow(CurrencyFields.GetAttributeList(element)); }
void Dictionary::AddBaseContract(pugi::xml_node element)
{
    m_baseContract.AddRow(BaseContractFields.GetAttributeList(element));
}
void Dictionary::AddFutures(pugi::xml_node element) { m_futures.AddRow(FuturesFields.GetAttributeList(element)); }
void Dictionary::AddOptionSeries(pugi::xml_node element)
{
    m_optionSeries.AddRow(OptionSeriesFields.GetAttributeList(element));
}
void Dictionary::AddOption(pugi::xml_node element) { m_option.AddRow(OptionFields.GetAttributeList(element)); }
void Dictionary::AddMultileg(const std::string& row) { m_multileg.AddRow(row); }

bool Dictionary::GetCommonParameters(std::string& row, bool header)
{
    return m_commonParameters.GetNextRow(row, header);
}
bool Dictionary::GetNextCurrency(std::string& row, bool header) { return m_currency.GetNextRow(row, header); }
bool Dictionary::GetNextBaseContract(std::string& row, bool header) { return m_baseContract.GetNextRow(row, header); }
bool Dictionary::GetNextFutures(std::string& row, bool header) { return m_futures.GetNextRow(row, header); }
bool Dictionary::GetNextOptionSeries(std::string& row, bool header) { return m_optionSeries.GetNextRow(row, header); }
bool Dictionary::GetNextOption(std::string& row, bool header) { return m_option.GetNextRow(row, header); }
bool Dictionary::GetNextMultileg(std::string& row, bool header) { return m_multileg.GetNextRow(row, header); }

void Dictionary::SetOnFirstCommonParameters() noexcept { m_commonParameters.SetOnFirst(); }
void Dictionary::SetOnFirstCurrency() noexcept { m_currency.SetOnFirst(); }
void Dictionary::SetOnFirstBaseContract() noexcept { m_baseContract.SetOnFirst(); }
void Dictionary::SetOnFirstFutures() noexcept { m_futures.SetOnFirst(); }
void Dictionary::SetOnFirstOptionSeries() noexcept { m_optionSeries.SetOnFirst(); }
void Dictionary::SetOnFirstOption() noexcept { m_option.SetOnFirst(); }
void Dictionary::SetOnFirstMultileg() noexcept { m_multileg.SetOnFirst(); }

void Dictionary::Clear() noexcept
{
    m_commonParameters.Clear();
    m_currency.Clear();
    m_baseContract.Clear();
    m_futures.Clear();
    m_optionSeries.Clear();
    m_option.Clear();
    m_multileg.Clear();
}

// RealIsinStorage

void RealIsinStorage::SaveIsinCode(int& isin, const char* code) { MapIsinToCode.try_emplace(isin, code); }

bool RealIsinStorage::Find(int& isin) const { return MapIsinToCode.contains(isin); }

bool RealIsinStorage::Find(int& isin, std::string& code) const
{
    const auto entry = MapIsinToCode.find(isin);
    if (entry == MapIsinToCode.end()) return false;
    code = entry->second;
    return true;
}

void RealIsinStorage::Clear() noexcept { MapIsinToCode.clear(); }

} // namespace QuindalIM
