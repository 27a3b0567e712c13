#include "ExplainCommand.h"

#include <algorithm>
#include <iostream>
#include <set>
#include <utility>
#include <vector>

#include "BookComparison.h"
#include "BookOfClient.h"
#include "CompareReport.h"
#include "ExplainPage.h"
#include "ExplainReport.h"
#include "MarginPicture.h"
#include "Suggestion.h"
#include "WhatIf.h"
#include "WholeFile.h"
#include "Words.h"

namespace quindal {

namespace {

/// Whose margin is asked for.
struct Holder
{
    explicit Holder(const ExplainOptions& options)
        : kind(!options.client.empty() ? HolderKind::Client
               : !options.firm.empty() ? HolderKind::Firm
                                       : HolderKind::Account),
          code(options.client + options.firm + options.account)
    {}

    HolderKind kind;
    std::string code;
};

struct HolderWords
{
    AccountLevel level;
    const char* option;
    const char* plural;
};

HolderWords WordsOf(HolderKind kind)
{
    switch (kind) {
    case HolderKind::Client:
        return {AccountLevelClient, "--client", "clients"};
    case HolderKind::Firm:
        return {AccountLevelFirm, "--firm", "firms"};
    default:
        return {AccountLevelSettlementAccount, "--account", "settlement accounts"};
    }
}

/// The row of the holder among the accounts.
const AccountRow& RowOf(const Holder& holder, const Rows<AccountRow>& accounts)
{
    const HolderWords words = WordsOf(holder.kind);
    Suggestion suggestion(holder.code);
    for (const AccountRow& row : accounts.rows) {
        if (row.level != words.level) continue;
        if (row.code == holder.code) return row;
        suggestion.Offer(row.code);
    }
    throw InputError(std::string(words.option) + ": \"" + holder.code + "\" is none of the " + words.plural +
                     " in the accounts" + suggestion.Text());
}

/// The clients that a margin comes from.
std::set<std::string> ClientsOf(const Holder& holder, const Rows<AccountRow>& accounts)
{
    std::set<std::string> firms;
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelFirm &&
            (holder.kind == HolderKind::Account ? row.parent == holder.code : row.code == holder.code))
            firms.insert(row.code);
    std::set<std::string> clients;
    for (const AccountRow& row : accounts.rows)
        if (row.level == AccountLevelClient &&
            (holder.kind == HolderKind::Client ? row.code == holder.code : firms.contains(FirmOf(row.code))))
            clients.insert(row.code);
    return clients;
}

/// The orders of these clients in the order of their file, whatever what-if they belong to.
std::vector<Order> OrdersOf(const std::set<std::string>& clients, const Rows<OrderRow>& orders)
{
    std::vector<Order> chosen;
    for (const OrderRow& row : orders.rows)
        if (clients.contains(row.client))
            chosen.push_back({orders.Where(row), row.client, row.instrument, row.isBuy, row.quantity, row.price});
    return chosen;
}

/// How a level that has no records of its own comes to its margin.
void PutMembers(const Holder& holder, const MarginFigures& figures, ExplainedMargin& explained)
{
    explained.livesByMembers = true;
    if (holder.kind == HolderKind::Firm) {
        for (const ClientFigures& client : figures.clients)
            if (client.firm == holder.code) explained.members.push_back({client.code, client.GO});
    } else {
        for (const FirmFigures& firm : figures.firms)
            if (firm.settlementAccount == holder.code) explained.members.push_back({firm.code, firm.GO});
    }
}

/// The word of a rule.
std::string RuleWord(const AccountRow& row)
{
    return std::string(std::ranges::find(MarginRuleWords, row.marginRule, &Word::second)->first);
}

ExplainedMargin ExplainLevel(MarginSession& session, const Holder& holder, const AccountRow& row)
{
    const MarginFigures figures = session.Figures();
    ExplainedMargin explained;
    explained.kind = holder.kind;
    explained.code = holder.code;
    explained.rule = RuleWord(row);
    for (const FirmFigures& firm : figures.firms)
        if (holder.kind == HolderKind::Firm && firm.code == holder.code) explained.GO = firm.GO;
    for (const SettlementAccountFigures& account : figures.settlementAccounts)
        if (holder.kind == HolderKind::Account && account.id == holder.code) explained.GO = account.GO;
    if (row.marginRule != QUINDAL_MARGIN_RULE_NETTING)
        PutMembers(holder, figures, explained);
    else
        explained.explanation =
            holder.kind == HolderKind::Firm ? session.ExplainFirm(holder.code) : session.ExplainAccount(holder.code);
    return explained;
}

ExplainedMargin Explain(MarginSession& session, const Holder& holder, const AccountRow& row)
{
    if (holder.kind != HolderKind::Client) return ExplainLevel(session, holder, row);
    ExplainedMargin explained;
    explained.code = holder.code;
    explained.explanation = session.Explain(holder.code);
    explained.GO = explained.explanation.margin;
    return explained;
}

ExplainedMargin Explain(const ExplainOptions& options, BookRun& run)
{
    const Holder holder(options);
    Book book = run.Read(options.orders);
    const AccountRow row = RowOf(holder, book.accounts);
    std::vector<Order> orders;
    if (book.orders) orders = OrdersOf(ClientsOf(holder, book.accounts), *book.orders);
    if (book.orders && orders.empty())
        run.Told().Add(options.orders, "has no order for " + holder.code + ": the margin is explained without");
    if (holder.kind == HolderKind::Client)
        book = BookOf(holder.code, std::move(book));
    else
        run.CompleteLevels();
    ExplainedMargin explained;
    run.With(book, [&](MarginSession& session) {
        for (const Order& order : orders)
            static_cast<void>(session.PlaceOrder(order));
        explained = Explain(session, holder, row);
    });
    return explained;
}

void WriteFiles(const ExplainOptions& options, const ExplainedMargin& explained, const Provenance& provenance)
{
    const PictureInput picture{NameOf(explained), explained.explanation, provenance};
    PictureStyle style;
    if (options.top > 0) style.top = options.top;
    if (!options.svg.empty()) WriteWhole(options.svg, PictureAsSvg(picture, style));
    if (!options.pdf.empty()) WriteWhole(options.pdf, PictureAsPdf(picture, style));
    if (!options.html.empty()) WriteWhole(options.html, ExplanationPage(explained, provenance, options.top));
}

int RunComparison(const ExplainOptions& options)
{
    BookDifference difference;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            Book whole = run.Read({});
            static_cast<void>(RowOf(Holder(options), whole.accounts));
            const Rows<PositionRow> before = BookRun::ReadOther(options.compare, whole.accounts);
            const Book book = BookOf(options.client, std::move(whole));
            run.With(book, [&](MarginSession& session) {
                difference = CompareBooks(session, options.client, book.accounts, before, book.positions);
                run.Watch({});
            });
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteComparison(std::cout, difference, provenance, options.format);
        });
    return StatusGood;
}

} // namespace

int RunExplain(const ExplainOptions& options)
{
    if (!options.compare.empty()) return RunComparison(options);
    ExplainedMargin explained;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            explained = Explain(options, run);
            provenance = run.Origin();
        },
        [&] {
            WriteFiles(options, explained, provenance);
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteExplanation(std::cout, explained, provenance, options.format, options.top);
        });
    return StatusGood;
}

} // namespace quindal
