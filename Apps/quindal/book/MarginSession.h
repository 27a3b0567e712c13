// MarginSession: one run of the library as a trading application would drive it: log in, load the instruments, register
// the accounts, set the positions, place orders, read the figures.
//
// Everything goes through the exported functions, except the GO of firms and settlement accounts and the explanation of
// a margin, which no exported function hands out; those are read from the inside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Errors.h"
#include "MarginExplanation.h"
#include "MarketCodes.h"
#include "Rows.h"

namespace quindal {

class RunLog;

/// Thrown when an exported function returned a code. The status is that of the link for codes of the link, otherwise
/// that of a refused input.
class CallError : public CommandError
{
public:
    /// where: "FILE:LINE" of the row that caused it, or empty. reason: the link's own text, or empty.
    CallError(const std::string& where, const std::string& call, std::int32_t code, const std::string& reason = {});
    CallError(ExitStatus status, const std::string& where, const std::string& call, std::int32_t code,
              const std::string& reason);
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

/// Figures of one client in one what-if: in the book without orders, and with the orders of the what-if.
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
};

/// An order as a client would send it.
struct Order
{
    std::string where; // "FILE:LINE" of its row
    std::string client;
    std::string instrument; // futures, option or calendar spread
    bool isBuy = true;
    std::int64_t quantity = 0; // contracts, above 0
    double price = 0.0;        // 0: the calculated price of the instrument; a calendar spread has none
};

/// The ini file that the library reads, and the name that messages give it. A file made for a run goes by the name of
/// the one that it was made from.
struct IniFile
{
    std::string path;
    std::string name;
};

class MarginSession
{
public:
    /// Logs in and makes the calculator. Throws CallError, which tells which part of the login failed as far as the log
    /// of the run has it.
    MarginSession(const IniFile& ini, const std::string& user, const std::string& password, RunLog& log);
    ~MarginSession(); ///< Empties the model and logs out.
    MarginSession(const MarginSession&) = delete;
    MarginSession& operator=(const MarginSession&) = delete;

    /// Called with the port of the router and with the document that a server has sent through it.
    using OnReply = std::function<void(unsigned routerPort, std::string_view document)>;
    void LoadInstruments(const OnReply& onReply = {});
    /// The instruments that were loaded.
    [[nodiscard]] static MarketCodes Codes();
    /// Adds the loaded instruments whose numbers cannot be used in a computation to the problems of the server that the
    /// ini file leads to.
    static void CheckInstruments(const std::string& iniFile, Problems& problems);
    /// The calculated price of a futures or an option.
    [[nodiscard]] static double CalculatedPrice(const std::string& instrument);

    // where: "FILE:LINE" of the row; a CallError begins with it.
    void Register(const std::string& where, const AccountRow& row);
    void SetPosition(const std::string& where, const PositionRow& row);
    /// Adds an order to those of its client and returns the figures with it.
    ClientFigures PlaceOrder(const Order& order);
    /// Adds an order to those of its client, or cancels so much of them by a quantity below 0. Reads no figures.
    void ChangeOrders(const Order& order);
    /// Forgets accounts, firms, clients, their positions and orders; the instruments stay.
    void RemoveAccounts();
    /// Figures of a registered client.
    [[nodiscard]] ClientFigures FiguresOf(const std::string& client) const;
    /// GO of a registered firm, money, in cents; read from the inside.
    [[nodiscard]] static double GOOfFirm(const std::string& firm);
    /// GO of a registered settlement account, money, in cents; read from the inside.
    [[nodiscard]] static double GOOfAccount(const std::string& account);
    /// Figures of the book. Throws InputError for a figure that is no number, or too large to have cents.
    [[nodiscard]] MarginFigures Figures() const;
    /// Explains the GO of a registered client; read from the inside.
    [[nodiscard]] QuindalIM::MarginExplanation Explain(const std::string& client) const;
    // The same for a registered firm and a registered account, of the records of their own.
    [[nodiscard]] QuindalIM::MarginExplanation ExplainFirm(const std::string& firm) const;
    [[nodiscard]] QuindalIM::MarginExplanation ExplainAccount(const std::string& account) const;

private:
    void RegisterAccount(const std::string& where, const AccountRow& row);
    void RegisterAFirm(const std::string& where, const AccountRow& row);
    void RegisterClient(const std::string& where, const AccountRow& row);
    void RegisterRatio(const std::string& where, const AccountRow& row);

    std::intptr_t m_calculator = 0;
    std::vector<std::string> m_clients;
    std::vector<FirmFigures> m_firms;
    std::vector<std::string> m_settlementAccounts;
};

} // namespace quindal
