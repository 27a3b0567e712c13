#include "MarketCheck.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <strings.h>
#include <vector>

#include <pugixml.hpp>

#include "CalcGOEx.h"
#include "InstrumentElements.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "Printable.h"
#include "QuindalIM.h"
#include "Suggestion.h"
#include "TablesData.h"
#include "XmlDocument.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"

namespace quindal {

namespace {

constexpr std::array<std::string_view, 7> Tags{"CommonParameters", "Currency", "BaseContract", "Futures",
                                               "VirtFutures",      "Option",   "Multileg"};

bool IsTag(const pugi::xml_node& element, const char* tag) { return ::strcasecmp(element.name(), tag) == 0; }

/// The attribute of an element that names its parent; null for elements without a parent.
const char* ParentAttribute(const pugi::xml_node& element)
{
    if (IsTag(element, "Futures")) return "CodeBC";
    if (IsTag(element, "VirtFutures")) return "CodeRF";
    return IsTag(element, "Option") ? "CodeVF" : nullptr;
}

bool IsText(std::string_view attribute)
{
    return attribute.starts_with("Code") || attribute == "TASBaseFutCode" || attribute == "ExpiredDate";
}

/// True for a text that the library would read as a number and that is no finite number.
bool IsNoFiniteNumber(const char* text)
{
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    return end != text && *end == '\0' && !std::isfinite(value);
}

/// Code and text of an error of the library. The place where it was raised is left out, and the message names the
/// element already.
std::string ReasonOf(const kv7base::CZ9Error& error)
{
    const auto code = static_cast<std::int32_t>(error.GetCode());
    std::string reason = "code " + std::to_string(code) + ": " + GetErrorCodeDescription(code);
    std::string text = error.what();
    text.erase(std::min(text.rfind(';'), text.size()));
    text.erase(0, text.find(", ") == std::string::npos ? 0 : text.find(", ") + 2);
    if (!text.ends_with(" - failed")) reason += ", " + text;
    return reason;
}

/// A row of the library's tables, which has semicolons between its texts.
std::vector<std::string> CellsOf(const std::string& row)
{
    std::vector<std::string> cells(1);
    for (const char c : row)
        if (c == ';')
            cells.emplace_back();
        else
            cells.back() += c;
    return cells;
}

/// Appends an element with this one's name and attributes, which are all that the library reads.
void AppendAttributesOf(const pugi::xml_node& element, pugi::xml_node parent)
{
    pugi::xml_node copy = parent.append_child(element.name());
    for (const pugi::xml_attribute& attribute : element.attributes())
        copy.append_copy(attribute);
}

class MarketReader
{
public:
    MarketReader(const InputFile& file, RunLog& log, Problems& problems, Warnings& warnings)
        : m_file(file), m_log(log), m_problems(problems), m_warnings(warnings)
    {
        m_spreads.append_child("root");
    }

    MarketContents Read()
    {
        try {
            const QuindalIM::XmlDocument document(m_file.text);
            TakeAll(document.Root("root"));
        } catch (const QuindalIM::XmlError& error) {
            Refuse(error.Line(), error.Reason());
        } catch (const QuindalIM::NoSuchNode&) {
            Refuse(0, "has no element \"root\"");
        }
        return m_contents;
    }

private:
    void TakeAll(const pugi::xml_node& root)
    {
        for (const pugi::xml_node& element : root.children())
            if (element.type() == pugi::node_element) Take(element);
        InsertSpreads();
    }

    // Offsets grow from element to element: each text is walked once.
    std::size_t LineAt(std::ptrdiff_t offset)
    {
        const auto wanted = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(
            offset, static_cast<std::ptrdiff_t>(m_counted), static_cast<std::ptrdiff_t>(m_file.text.size())));
        const auto begin = m_file.text.begin();
        m_line += static_cast<std::size_t>(std::count(begin + static_cast<std::ptrdiff_t>(m_counted),
                                                      begin + static_cast<std::ptrdiff_t>(wanted), '\n'));
        m_counted = wanted;
        return m_line;
    }

    void Refuse(std::size_t line, const std::string& reason)
    {
        m_problems.Add({m_file.name, line, {}, {}, reason});
        m_contents.isWhole = false;
    }
    std::string Where(std::size_t line) const { return m_file.name + ":" + std::to_string(line); }

    static std::string NameOf(const pugi::xml_node& element)
    {
        const char* const code = element.attribute("Code").value();
        return Printable(element.name()) + (*code == '\0' ? "" : " \"" + Printable(code) + '"');
    }

    void Take(const pugi::xml_node& element)
    {
        const std::size_t line = LineAt(element.offset_debug());
        if (!IsKnown(element, line)) return;
        if (!HasFiniteNumbers(element, line) || IsBelowARefusedOne(element)) return Leave(element);
        if (IsTag(element, "Multileg")) {
            AppendAttributesOf(element, m_spreads.document_element());
            ++m_legs[element.attribute("Isin").value()];
            if (m_spreadLine == 0) m_spreadLine = line;
            return;
        }
        pugi::xml_document alone;
        const pugi::xml_node root = alone.append_child("root");
        AppendAttributesOf(element, root);
        if (Insert(root, NameOf(element), line))
            Count(element);
        else
            Leave(element);
    }

    /// Remembers an element that did not go in, since others may depend on it.
    void Leave(const pugi::xml_node& element)
    {
        const std::string code = element.attribute("Code").value();
        if (!code.empty()) m_refused.insert(code);
    }

    // True for an element that the library knows. Others are passed over; one that looks like a slip of the hand is
    // reported.
    bool IsKnown(const pugi::xml_node& element, std::size_t line)
    {
        Suggestion suggestion(element.name());
        for (const std::string_view tag : Tags) {
            if (IsTag(element, tag.data())) return true;
            suggestion.Offer(tag);
        }
        if (!suggestion.Text().empty())
            m_warnings.Add(Where(line), "element " + NameOf(element) + " is none that counts" + suggestion.Text());
        return false;
    }

    bool HasFiniteNumbers(const pugi::xml_node& element, std::size_t line)
    {
        bool areFinite = true;
        for (const pugi::xml_attribute& attribute : element.attributes()) {
            if (IsText(attribute.name()) || !IsNoFiniteNumber(attribute.value())) continue;
            Refuse(line, NameOf(element) + ": attribute \"" + Printable(attribute.name()) + "\": \"" +
                             Printable(attribute.value()) + "\" is not a finite number");
            areFinite = false;
        }
        return areFinite;
    }

    // True when the parent was refused; the parent's line says why.
    bool IsBelowARefusedOne(const pugi::xml_node& element) const
    {
        const char* const parent = ParentAttribute(element);
        return parent != nullptr && m_refused.contains(element.attribute(parent).value());
    }

    /// Inserts elements into the library. Its log lines about elements that it takes are corrections.
    bool Insert(const pugi::xml_node& root, const std::string& name, std::size_t line)
    {
        std::string reason;
        try {
            QuindalIM::InsertInstruments(m_calculator, root);
        } catch (const kv7base::CZ9Error& error) {
            reason = ReasonOf(error);
        } catch (const std::out_of_range&) {
            reason = "a number is beyond its type";
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            reason = error.what();
        }
        const std::vector<LogLine> lines = m_log.Next();
        if (reason.empty()) {
            m_warnings.Add(Where(line), lines);
            return true;
        }
        for (const LogLine& logged : lines)
            reason += " (" + logged.text + ")";
        Refuse(line, name + ": " + reason);
        return false;
    }

    void Count(const pugi::xml_node& element)
    {
        const std::string code = element.attribute("Code").value();
        const auto count = [&](std::size_t& number, InstrumentKind kind) {
            ++number;
            m_contents.codes.Add(code, kind);
        };
        if (IsTag(element, "BaseContract")) count(m_contents.baseContracts, InstrumentKind::BaseContract);
        if (IsTag(element, "Futures")) count(m_contents.futures, InstrumentKind::Futures);
        if (IsTag(element, "VirtFutures")) count(m_contents.optionSeries, InstrumentKind::OptionSeries);
        if (IsTag(element, "Option")) count(m_contents.options, InstrumentKind::Option);
    }

    // Inserts the calendar spreads. Their legs may stand anywhere in the document, so they go in at the end and
    // together; missing futures would be blamed on them.
    void InsertSpreads()
    {
        if (m_legs.empty() || !m_contents.isWhole) return;
        Insert(m_spreads.document_element(), "Multileg", m_spreadLine);
        m_calculator.SetOnFirstMultileg();
        for (std::string code; m_calculator.GetNextMultileg(code) == 0; ++m_contents.calendarSpreads)
            m_contents.codes.Add(code, InstrumentKind::CalendarSpread);
        if (m_legs.size() > m_contents.calendarSpreads)
            m_warnings.Add(Where(m_spreadLine), std::to_string(m_legs.size() - m_contents.calendarSpreads) + " of " +
                                                    std::to_string(m_legs.size()) +
                                                    " calendar spreads are left out: not both legs are there");
    }

    const InputFile& m_file;
    RunLog& m_log;
    Problems& m_problems;
    Warnings& m_warnings;
    ParticipantRepository m_participants;
    kv7im::InstrumentsRepository m_instruments;
    pos::PositionCalculatorInstruments m_accounting;
    QuindalIM::CCalcGOEx m_calculator{m_participants, m_instruments, m_accounting};
    MarketContents m_contents;
    std::set<std::string, std::less<>> m_refused; // codes of refused elements
    pugi::xml_document m_spreads;                 // their rows, in a root of their own
    std::size_t m_spreadLine = 0;
    std::map<std::string, int> m_legs; // rows of each spread
    std::size_t m_line = 1;
    std::size_t m_counted = 0; // bytes up to m_line
};

} // namespace

MarketContents CheckMarket(const InputFile& file, RunLog& log, Problems& problems, Warnings& warnings)
{
    static_cast<void>(log.Next()); // whatever was before
    return MarketReader(file, log, problems, warnings).Read();
}

void CheckDownload(QuindalIM::Dictionary& tables, const std::string& server, Problems& problems)
{
    using QuindalIM::Dictionary;
    static constexpr struct
    {
        const char* name;
        void (Dictionary::*setOnFirst)() noexcept;
        bool (Dictionary::*getNext)(std::string& row, bool header);
    } kinds[] = {{"CommonParameters", &Dictionary::SetOnFirstCommonParameters, &Dictionary::GetCommonParameters},
                 {"Currency", &Dictionary::SetOnFirstCurrency, &Dictionary::GetNextCurrency},
                 {"BaseContract", &Dictionary::SetOnFirstBaseContract, &Dictionary::GetNextBaseContract},
                 {"Futures", &Dictionary::SetOnFirstFutures, &Dictionary::GetNextFutures},
                 {"VirtFutures", &Dictionary::SetOnFirstOptionSeries, &Dictionary::GetNextOptionSeries},
                 {"Option", &Dictionary::SetOnFirstOption, &Dictionary::GetNextOption}};
    for (const auto& [name, setOnFirst, getNext] : kinds) {
        std::string text;
        if (!(tables.*getNext)(text, true)) continue;
        const std::vector<std::string> attributes = CellsOf(text);
        (tables.*setOnFirst)();
        while ((tables.*getNext)(text, false)) {
            const std::vector<std::string> values = CellsOf(text);
            for (std::size_t i = 0; i < std::min(attributes.size(), values.size()); ++i)
                if (!IsText(attributes[i]) && IsNoFiniteNumber(values[i].c_str()))
                    problems.Add({server,
                                  0,
                                  {},
                                  {},
                                  std::string(name) + " \"" + Printable(values.front()) + "\": attribute \"" +
                                      attributes[i] + "\": \"" + Printable(values[i]) + "\" is not a finite number"});
        }
    }
}

} // namespace quindal
