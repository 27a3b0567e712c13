// MarginSession: one run of the library as a trading application would drive it: log in, load the instruments, register
// the accounts, set the positions, place orders, read the figures.
//
// Everything goes through the exported functions, except the GO of firms and settlement accounts and the explanation of
// a margin, which no exported function hands out; those are read from the inside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "CsvTable.h"
#include "MarginExplanation.h"

namespace quindal {

/// An exported function gave a code.
class CallError : public CommandError
{
public:
    /// where: "FILE:LINE" of the row that caused it, or empty. reason: what the link says of it, or empty.
    CallError(const std::string& where, const std::string& call, std::int32_t code, const std::string& reason = {});
};

struct ClientFigures
{
    std::string code;
    std::string firm;
    double volatilityGO;            // money, not rounded
    double deliveryAndVolatilityGO; // money, not rounded
    double GO;                      // money, in cents
};

struct FirmFigures
{
    std::string code;
    std::string settlementAccount; // empty when it was registered without one
    double GO;                     // money, in cents
};

struct SettlementAccountFigures
{
    std::string id;
    double GO; // money, in cents
};

/// One client's figures of one what-if: in the book without orders, and with those of the what-if in it.
struct WhatIfFigures
{
    std::string label;
    ClientFigures before;
    ClientFigures after;
};

struct MarginFigures
{
    std::vector<ClientFigures> clients; // each list in the order of the accounts file
    std::vector<FirmFigures> firms;
    std::vector<SettlementAccountFigures> settlementAccounts;
    std::optional<std::vector<WhatIfFigures>> whatIfs; // in the order of the orders file; none when there is no file
};

/// An order as a client would send it.
struct Order
{
    std::string where; // "FILE:LINE" of its row
    std::string client;
    std::string instrument; // futures, option or multileg
    bool isBuy = true;
    std::int64_t quantity = 0; // contracts, above 0
    double price = 0.0;        // 0: the calculated price of the instrument; a multileg has none
};

/// Columns of the two input files.
[[nodiscard]] CsvTable ReadAccounts(const std::string& file);
[[nodiscard]] CsvTable ReadPositions(const std::string& file);

class MarginSession
{
public:
    /// Logs in and makes the calculator. Throws CallError.
    MarginSession(const std::string& iniFile, const std::string& user, const std::string& password);
    ~MarginSession(); ///< Empties the model and logs out.
    MarginSession(const MarginSession&) = delete;
    MarginSession& operator=(const MarginSession&) = delete;

    void LoadInstruments();
    void Register(const CsvRow& account);
    void SetPosition(const CsvRow& position);
    /// Adds an order to those of its client; the figures with it. Throws InputError for an order in a multileg without
    /// a price, CallError for whatever else is wrong with it.
    ClientFigures PlaceOrder(const Order& order);
    /// Forgets accounts, firms, clients, their positions and orders; the instruments stay.
    void RemoveAccounts();
    /// Of a registered client.
    [[nodiscard]] ClientFigures FiguresOf(const std::string& client) const;
    [[nodiscard]] MarginFigures Figures() const;
    /// Why the GO of a registered client is what it is; from the inside.
    [[nodiscard]] QuindalIM::MarginExplanation Explain(const std::string& client) const;

private:
    void RegisterSettlementAccountRow(const CsvRow& row);
    void RegisterFirmRow(const CsvRow& row);
    void RegisterClientRow(const CsvRow& row);
    void RegisterRatioRow(const CsvRow& row);
    void ReadMultilegs();

    std::intptr_t m_calculator = 0;
    std::set<std::string, std::less<>> m_multilegs;
    std::vector<std::string> m_clients;
    std::vector<FirmFigures> m_firms;
    std::vector<std::string> m_settlementAccounts;
};

} // namespace quindal
