// The margins of a book that stands in two files: registers the accounts of the one, sets the positions of the other.
//
//     book INI USER ACCOUNTS POSITIONS
//
// The files are those of the command line, with commas. The password is in QUINDAL_PASSWORD.
#include <QuindalIM.hpp>

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

using namespace quindalim;

namespace {

using Row = std::map<std::string, std::string>; // cells by column

std::vector<std::string> Cells(const std::string& line)
{
    std::vector<std::string> cells(1);
    for (const char c : line)
        if (c == ',')
            cells.emplace_back();
        else if (c != '\r')
            cells.back() += c;
    return cells;
}

/// Rows of a file; the first line that is no comment names the columns.
std::vector<Row> Rows(const std::string& path)
{
    std::ifstream file(path);
    std::vector<std::string> columns;
    std::vector<Row> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        const std::vector<std::string> cells = Cells(line);
        if (columns.empty()) {
            columns = cells;
            continue;
        }
        if (cells.size() != columns.size()) throw std::runtime_error(path + ": \"" + line + "\" has other columns");
        Row& row = rows.emplace_back();
        for (std::size_t i = 0; i < cells.size(); ++i)
            row[columns[i]] = cells[i];
    }
    if (columns.empty()) throw std::runtime_error(path + " has no rows");
    return rows;
}

/// Takes a cell into a field; an empty one leaves its default.
template <class Number>
void Take(const Row& row, const char* column, Number& field)
{
    const std::string& cell = row.at(column);
    if (cell.empty()) return;
    char* end = nullptr;
    const double value = std::strtod(cell.c_str(), &end);
    if (*end != '\0') throw std::runtime_error(std::string(column) + ": \"" + cell + "\" is no number");
    field = static_cast<Number>(value);
}
template <class Word>
void Take(const Row& row, const char* column, Word& field, const std::map<std::string, Word>& words)
{
    const std::string& cell = row.at(column);
    if (cell.empty()) return;
    const auto word = words.find(cell);
    if (word == words.end()) throw std::runtime_error(std::string(column) + ": \"" + cell + "\" is no word of it");
    field = word->second;
}

const std::map<std::string, MarginRule> rules{
    {"gross", MarginRule::Gross}, {"half_netting", MarginRule::HalfNetting}, {"netting", MarginRule::Netting}};
const std::map<std::string, SpreadMarginType> nettings{{"unused", SpreadMarginType::Unused},
                                                       {"half_netting", SpreadMarginType::HalfNetting},
                                                       {"netting", SpreadMarginType::Netting}};
const std::map<std::string, ClientRiskLevel> levels{{"default", ClientRiskLevel::Default},
                                                    {"low", ClientRiskLevel::Low},
                                                    {"medium", ClientRiskLevel::Medium},
                                                    {"high", ClientRiskLevel::High},
                                                    {"exceptional", ClientRiskLevel::Exceptional}};

/// What a settlement account, a firm and a client have in common.
template <class Participant>
Participant Netted(const Row& row)
{
    Participant participant{row.at("code")};
    Take(row, "calendar", participant.calendarSpread, nettings);
    Take(row, "inter_contract", participant.interContractSpread, nettings);
    Take(row, "short_charge_ratio", participant.shortOptionMinimumChargeRatio);
    return participant;
}

void EnterFirm(const Calculator& calculator, const Row& row)
{
    auto firm = Netted<Firm>(row);
    firm.settlementAccountId = row.at("parent");
    Take(row, "margin_rule", firm.marginRule, rules);
    Take(row, "exp_weight", firm.expWeight);
    Take(row, "exp_weight_client_default", firm.expWeightClientDefault);
    Take(row, "clearings", firm.nClr2Delivery);
    calculator.registerFirm(firm).value();
}

void EnterClient(const Calculator& calculator, const Row& row)
{
    auto client = Netted<Client>(row);
    client.noFutDiscount = row.at("no_discount") == "1";
    Take(row, "exp_weight", client.expWeight);
    Take(row, "clearings", client.nClr2Delivery);
    Take(row, "go_ratio", client.goRatio);
    Take(row, "risk_level", client.riskLevel, levels);
    calculator.registerClient(client).value();
}

void EnterAccount(const Calculator& calculator, const Row& row)
{
    const std::string& level = row.at("level");
    if (level == "account") {
        auto account = Netted<SettlementAccount>(row);
        Take(row, "margin_rule", account.marginRule, rules);
        calculator.registerSettlementAccount(account).value();
    } else if (level == "firm") {
        EnterFirm(calculator, row);
    } else if (level == "ratio") {
        double ratio = 1.0;
        Take(row, "go_ratio", ratio);
        calculator.setFirmRatio(row.at("code"), row.at("parent"), ratio).value();
    } else if (level == "client") {
        EnterClient(calculator, row);
    } else {
        throw std::runtime_error("\"" + level + "\" is no level");
    }
}

/// Sets the positions; the last answer for a client is its margin.
std::map<std::string, Margins> SetPositions(const Calculator& calculator, const std::vector<Row>& rows)
{
    std::map<std::string, Margins> margins;
    for (const Row& row : rows) {
        Position position{row.at("code"), row.at("instrument")};
        Take(row, "quantity", position.quantity);
        Take(row, "price", position.price);
        if (row.at("level") == "client")
            margins[row.at("code")] = calculator.setPosition(position).value();
        else
            calculator
                .setLevelPosition(row.at("level") == "firm" ? AccountLevel::Firm : AccountLevel::SettlementAccount,
                                  position)
                .value();
    }
    return margins;
}

} // namespace

int main(int argc, char** argv)
try {
    const char* const password = std::getenv("QUINDAL_PASSWORD");
    if (argc != 5 || password == nullptr)
        throw std::runtime_error("usage: QUINDAL_PASSWORD=... book INI USER ACCOUNTS POSITIONS");
    const std::vector<Row> accounts = Rows(argv[3]);
    const std::vector<Row> positions = Rows(argv[4]);

    const auto library = Library::start(argv[1], argv[2], password).value();
    const auto calculator = library.calculator().value();
    calculator.loadInstruments().value();
    for (const Row& row : accounts)
        EnterAccount(calculator, row);

    std::cout << "Client   Volatility GO    Delivery GO             GO\n" << std::fixed << std::setprecision(2);
    for (const auto& [client, margins] : SetPositions(calculator, positions))
        std::cout << client << std::setw(15) << margins.volatility << std::setw(15) << margins.delivery << std::setw(15)
                  << margins.go << '\n';
    return 0;
} catch (const std::exception& error) { // an Error of the library, or a file that cannot be read
    std::cerr << error.what() << '\n';
    return 1;
}
