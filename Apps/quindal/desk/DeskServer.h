// DeskServer: the page over HTTP, on this machine only.
//
// It answers whoever has the token, which a run makes for itself: in the address of the page, in the addresses of the
// page's own files, and in a header of each request. There is no cookie: a browser would send it to every other server
// on this machine. Names of other hosts, and pages of other origins, are refused.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "DeskAnswer.h"

namespace quindal {

class DeskServer
{
public:
    /// Answers a request of the page by name and body. Called by several threads at a time.
    using Ask = std::function<DeskAnswer(const std::string& name, const std::string& body)>;

    /// Listens at once. port: 0 for any that is free. Throws InputError for a port that cannot be had.
    DeskServer(std::uint16_t port, Ask ask);
    ~DeskServer(); ///< Lets answers that have begun come to their end.
    DeskServer(const DeskServer&) = delete;
    DeskServer& operator=(const DeskServer&) = delete;

    /// What to open in a browser: "http://127.0.0.1:PORT/?token=...".
    [[nodiscard]] std::string Address() const;

private:
    class Listener;
    std::unique_ptr<Listener> m_listener;
};

} // namespace quindal
