// PlayedSession: a MarginSession over a message queue that the test plays, with the instruments of a market of samples,
// and books of any kind for it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "MarginSession.h"
#include "PlainMarket.h"
#include "Rows.h"
#include "RunLog.h"

namespace test {

class PlayedSession
{
public:
    /// The instruments of a document as a server sends it.
    explicit PlayedSession(const std::string& document);
    ~PlayedSession();
    PlayedSession(const PlayedSession&) = delete;
    PlayedSession& operator=(const PlayedSession&) = delete;

    quindal::MarginSession& operator*() { return *m_session; }
    quindal::MarginSession* operator->() { return m_session.get(); }

private:
    std::filesystem::path m_folder; // of the ini file
    std::unique_ptr<quindal::RunLog> m_log;
    std::unique_ptr<quindal::MarginSession> m_session;
};

/// Accounts of all rules, and positions in some of the instruments.
struct DrawnBook
{
    plain::Market market;
    quindal::Rows<quindal::AccountRow> accounts{"accounts"};
    quindal::Rows<quindal::PositionRow> positions{"positions"};

    explicit DrawnBook(std::uint64_t seed);
    [[nodiscard]] std::string Document() const;
};

} // namespace test
