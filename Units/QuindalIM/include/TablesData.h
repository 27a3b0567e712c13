// TablesData: the instruments of a download kept as text, one row of attribute values for each element of the server's
// reply, and the map from the exchange's own isins to codes.
//
// Always true:  every row has all the columns of its table; an attribute that the element does not have is empty there.
// Form:         values joined by ";", in the order of the table's list; the header row is the names joined by ";".
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

namespace QuindalIM {

/// Text of the element's first attribute with exactly this name. Throws NoSuchNode when there is none.
[[nodiscard]] std::string GetAttr(pugi::xml_node element, const char* name);

/// The whole text as a number, in the form of the C locale whatever the locale of the process. Blanks in front are
/// passed over. Text that is no number, or anything behind the number: CZ9Error, Z9ERR_COMMON_WRONG_ARGUMENTS, with the
/// text in its message. A number beyond the type: std::out_of_range.
template <class T>
[[nodiscard]] T FromString(const std::string& text);
template <>
[[nodiscard]] double FromString<double>(const std::string& text);
template <>
[[nodiscard]] int FromString<int>(const std::string& text);
template <>
[[nodiscard]] signed char FromString<signed char>(const std::string& text);
template <>
[[nodiscard]] long FromString<long>(const std::string& text);

/// The column names of one table, in order.
class AttributeList
{
public:
    AttributeList(std::initializer_list<const char*> names);
    explicit AttributeList(std::vector<std::string> names) noexcept;

    /// One row: the element's attributes in the order of the list.
    [[nodiscard]] std::string GetAttributeList(pugi::xml_node element) const;
    /// The header row.
    [[nodiscard]] std::string GetAttributeListName() const;
    [[nodiscard]] std::size_t GetSize() const noexcept { return m_names.size(); }
    /// Text of one attribute, empty when the element does not have it.
    [[nodiscard]] static std::string GetAttribute(pugi::xml_node element, const std::string& name);

private:
    std::vector<std::string> m_names;
};

/// Rows of text under one header, read back through a cursor.
class Table
{
public:
    explicit Table(const std::string& fieldNames) : m_fieldNames(fieldNames) {}

    void Clear() noexcept;
    void SetOnFirst() noexcept { m_cursor = 0; }
    void AddRow(const std::string& row) { m_data.push_back(row); }
    /// With `header` gives the column names and keeps the cursor. Otherwise gives the next row; false at the end, where
    /// `row` stays.
    [[nodiscard]] bool GetNextRow(std::string& row, bool header);

private:
    const std::string m_fieldNames;
    std::vector<std::string> m_data;
    std::size_t m_cursor = 0; // row that comes next
};

/// The tables of one download.
class Dictionary
{
public:
    Dictionary();

    void AddCommonParameters(const std::string& row);
    void AddCurrency(pugi::xml_node element);
    void AddBaseContract(pugi::xml_node element);
    void AddFutures(pugi::xml_node element);
    void AddOptionSeries(pugi::xml_node element);
    void AddOption(pugi::xml_node element);
    void AddMultileg(const std::string& row);

    /// Common parameters: with `header` the column names, otherwise the next row; false at the end, where `row` stays.
    [[nodiscard]] bool GetCommonParameters(std::string& row, bool header);
    [[nodiscard]] bool GetNextCurrency(std::string& row, bool header);
    [[nodiscard]] bool GetNextBaseContract(std::string& row, bool header);
    [[nodiscard]] bool GetNextFutures(std::string& row, bool header);
    [[nodiscard]] bool GetNextOptionSeries(std::string& row, bool header);
    [[nodiscard]] bool GetNextOption(std::string& row, bool header);
    [[nodiscard]] bool GetNextMultileg(std::string& row, bool header);

    void SetOnFirstCommonParameters() noexcept;
    void SetOnFirstCurrency() noexcept;
    void SetOnFirstBaseContract() noexcept;
    void SetOnFirstFutures() noexcept;
    void SetOnFirstOptionSeries() noexcept;
    void SetOnFirstOption() noexcept;
    void SetOnFirstMultileg() noexcept;

    void Clear() noexcept;

private:
    const AttributeList CommonParametersFields;
    const AttributeList CurrencyFields;
    const AttributeList BaseContractFields;
    const AttributeList FuturesFields;
    const AttributeList OptionSeriesFields;
    const AttributeList OptionFields;
    const AttributeList MultilegFields;
    Table m_commonParameters;
    Table m_currency;
    Table m_baseContract;
    Table m_futures;
    Table m_optionSeries;
    Table m_option;
    Table m_multileg;
};

/// The exchange's own isins, as a download names them, and the codes they stand for.
class RealIsinStorage
{
public:
    /// Saves the code of an isin, unless one is saved already.
    void SaveIsinCode(int& isin, const char* code);
    [[nodiscard]] bool Find(int& isin) const;
    /// True when the isin is known; `code` is written then and stays otherwise.
    [[nodiscard]] bool Find(int& isin, std::string& code) const;
    void Clear() noexcept;

private:
    std::unordered_map<std::int32_t, std::string> MapIsinToCode;
};

} // namespace QuindalIM
