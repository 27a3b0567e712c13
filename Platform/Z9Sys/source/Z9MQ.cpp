// The exported functions of the message queue, and its one state in the process.
//
// Always true:  the C client is open as long as there is a connection handle, and belongs to the process that opened
// it.
//               A forked child has none of its threads, and closing an inherited connection would cut the parent's: in
//               another process every call does nothing. A child that was forked while there was no handle is free to
//               open its own.
//               After the process's exit handler ran, nothing is open and nothing can be opened.
#include "Z9MQ.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <nats/nats.h>
#include <unistd.h>

#include "Z9Internal.h"
#include "Z9MQCodes.h"
#include "Z9MQConnection.h"
#include "Z9Signals.h"

namespace {

using z9::Guarded;
using z9::mq::Connection;

constexpr int64_t kClientDefaultSpin = -1;
// Calls that were woken and the C client's threads end in milliseconds. More than this would be waiting for somebody
// else who uses the C client in this process, or for the very call that the process exits from.
constexpr int64_t kCloseTimeoutMs = 2000;

struct Library
{
    std::atomic<pid_t> owner = 0;        // the process that has the C client open; 0: nobody has
    std::atomic<uint32_t> lastLogin = 0; // login ids count up over all connections
    std::mutex mutex;                    // guards what follows
    bool started = false;
    bool exitHandlerSet = false;
    bool exited = false;
    bool isOurs = false; // the C client was opened here; otherwise somebody else in the process had it already
    std::size_t lastHandle = 0;
    // Handles are numbers that are never given twice: one that was freed names nobody for ever after.
    std::map<std::size_t, std::shared_ptr<Connection>> connections;
    std::vector<std::weak_ptr<Connection>> ended; // calls in other threads may still hold them
};

// The state of the queue. It outlives every static object that may still free its connection at exit.
Library& TheLibrary()
{
    static z9::Immortal<Library> library;
    return library.Get();
}

// True in another process than the one that opened the client. Asked before the mutex is touched: a fork may have left
// it locked for ever.
bool IsOtherProcess(const Library& library) noexcept
{
    const pid_t owner = library.owner.load();
    return owner != 0 && owner != ::getpid();
}

std::size_t NumberOf(Z9MQ_CONN_HANDLE handle) noexcept { return reinterpret_cast<std::size_t>(handle); }

std::shared_ptr<Connection> Find(Z9MQ_CONN_HANDLE handle)
{
    Library& library = TheLibrary();
    if (IsOtherProcess(library)) return nullptr;
    const std::lock_guard lock(library.mutex);
    const auto found = library.connections.find(NumberOf(handle));
    return found == library.connections.end() ? nullptr : found->second;
}

// The frame of every call on a connection.
template <class Body>
Z9ERR WithConnection(Z9MQ_CONN_HANDLE handle, Body&& body) noexcept
{
    return Guarded([&]() -> Z9ERR {
        const std::shared_ptr<Connection> connection = Find(handle);
        return connection ? body(*connection) : Z9ERR_MQ_INVALID_CONN_HANDLE;
    });
}

// Waits until the calls that End() woke in other threads have returned: what they still free belongs to the C client.
void WaitForCalls(const std::vector<std::weak_ptr<Connection>>& ended)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kCloseTimeoutMs);
    const auto gone = [](const auto& connection) { return connection.expired(); };
    while (!std::all_of(ended.begin(), ended.end(), gone) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Ends a connection that can no longer be found by its handle. Called with the mutex held, like the functions below, so
// that no call begins meanwhile.
void End(Library& library, const std::shared_ptr<Connection>& connection)
{
    std::erase_if(library.ended, [](const auto& earlier) { return earlier.expired(); });
    library.ended.emplace_back(connection);
    connection->End();
}

// Closes the C client. It is one for the whole process and knows no owner: closing it ends it for everybody. A host
// that had it before us keeps it, since it was not opened a second time here; children of forks cannot have it.
Z9ERR CloseClient(Library& library)
{
    WaitForCalls(std::exchange(library.ended, {}));
    if (!library.isOurs) return z9::kOk;
    const natsStatus status = nats_CloseAndWait(kCloseTimeoutMs);
    library.owner.store(0);
    return status == NATS_OK ? z9::kOk : z9::kInternalError;
}

Z9ERR CloseAll(Library& library)
{
    if (library.owner.load() == 0) return z9::kOk;
    for (const auto& [number, connection] : std::exchange(library.connections, {}))
        End(library, connection);
    return CloseClient(library);
}

// Closes everything at exit. The C client's own exit handler was set before this one and so runs after it: here the
// client still works. In static destructors it no longer does, which is why their calls must find nothing left to do.
void CloseAtExit() noexcept
{
    Library& library = TheLibrary();
    if (IsOtherProcess(library)) return;
    static_cast<void>(Guarded([&] {
        const std::lock_guard lock(library.mutex);
        library.exited = true;
        return CloseAll(library);
    }));
}

// Opens the C client, which sets the process to ignore SIGPIPE. That is the host's decision: its former setting is put
// back, and our own writes see to it that no SIGPIPE is raised.
natsStatus StartClient() noexcept
{
    struct sigaction before = {};
    ::sigaction(SIGPIPE, nullptr, &before);
    const natsStatus status = nats_Open(kClientDefaultSpin);
    ::sigaction(SIGPIPE, &before, nullptr);
    return status;
}

std::ptrdiff_t CountThreads()
{
    std::error_code error;
    const std::filesystem::directory_iterator all("/proc/self/task", error);
    return error ? 0 : std::distance(begin(all), end(all));
}

Z9ERR OpenClient(Library& library)
{
    const auto blocked = z9::mq::SignalsBlocked::All(); // opening starts the client's own threads
    const std::ptrdiff_t threads = CountThreads();
    if (StartClient() != NATS_OK) return z9::kInternalError;
    library.isOurs = CountThreads() > threads; // it starts none when it is open, and says nothing else of it
    if (!library.exitHandlerSet && std::atexit([] { CloseAtExit(); }) != 0) {
        static_cast<void>(CloseClient(library));
        return z9::kInternalError;
    }
    library.exitHandlerSet = true;
    library.owner.store(::getpid());
    return z9::kOk;
}

} // namespace

Z9ERR Z9MQStartup(void)
{
    return Guarded([]() -> Z9ERR {
        Library& library = TheLibrary();
        if (IsOtherProcess(library)) return z9::mq::kInvalidObjectState;
        const std::lock_guard lock(library.mutex);
        if (library.exited) return z9::mq::kInvalidObjectState;
        library.started = true;
        return z9::kOk;
    });
}

Z9ERR Z9MQCleanup(void)
{
    return Guarded([]() -> Z9ERR {
        Library& library = TheLibrary();
        if (IsOtherProcess(library)) return z9::kOk;
        const std::lock_guard lock(library.mutex);
        library.started = false;
        return CloseAll(library);
    });
}

Z9ERR Z9MQCreateConnection(void** handle)
{
    return Guarded([&]() -> Z9ERR {
        if (handle == nullptr) return z9::kWrongArguments;
        Library& library = TheLibrary();
        if (IsOtherProcess(library)) return z9::mq::kInvalidObjectState;
        const std::lock_guard lock(library.mutex);
        if (library.exited) return z9::mq::kInvalidObjectState;
        if (!library.started) return z9::mq::kNotInitialized;
        auto connection = std::make_shared<Connection>();
        const std::size_t number = library.lastHandle + 1;
        const auto place = library.connections.emplace(number, std::move(connection)).first;
        if (library.owner.load() == 0) {
            if (const Z9ERR code = OpenClient(library); code != z9::kOk) {
                library.connections.erase(place);
                return code;
            }
        }
        library.lastHandle = number;
        *handle = reinterpret_cast<void*>(number); // a number, never followed as a pointer
        return z9::kOk;
    });
}

Z9ERR Z9MQFreeConnection(Z9MQ_CONN_HANDLE handle)
{
    return Guarded([&]() -> Z9ERR {
        Library& library = TheLibrary();
        if (IsOtherProcess(library)) return Z9ERR_MQ_INVALID_CONN_HANDLE;
        const std::lock_guard lock(library.mutex);
        const auto found = library.connections.find(NumberOf(handle));
        if (found == library.connections.end()) return Z9ERR_MQ_INVALID_CONN_HANDLE;
        End(library, found->second);
        library.connections.erase(found);
        if (library.connections.empty()) static_cast<void>(CloseClient(library)); // late at worst; the handle is freed
        return z9::kOk;
    });
}

Z9ERR Z9MQConnect(Z9MQ_CONN_HANDLE handle, const char* host, uint16_t port, uint32_t flags)
{
    return WithConnection(handle, [&](Connection& connection) {
        if (flags != 0) return z9::kWrongArguments;
        return connection.Probe(host == nullptr ? "127.0.0.1" : host, port);
    });
}

Z9ERR Z9MQDisconnect(Z9MQ_CONN_HANDLE handle)
{
    return WithConnection(handle, [](Connection& connection) {
        connection.Disconnect();
        return z9::kOk;
    });
}

Z9ERR Z9MQLogin(Z9MQ_CONN_HANDLE handle, const char* connectionString, uint32_t* loginId)
{
    return WithConnection(handle, [&](Connection& connection) {
        if (connectionString == nullptr || loginId == nullptr) return z9::kWrongArguments;
        *loginId = ++TheLibrary().lastLogin;
        return connection.Login(connectionString, *loginId);
    });
}

Z9ERR Z9MQLogout(Z9MQ_CONN_HANDLE handle)
{
    return WithConnection(handle, [](Connection& connection) { return connection.Logout(); });
}

Z9ERR Z9MQGetStatus(Z9MQ_CONN_HANDLE handle, uint32_t* status)
{
    return WithConnection(handle, [&](Connection& connection) {
        if (status == nullptr) return z9::kWrongArguments;
        *status = connection.Status();
        return z9::kOk;
    });
}

Z9ERR Z9MQGetMsg(Z9MQ_CONN_HANDLE handle, Z9Message** message, uint32_t timeout)
{
    if (message != nullptr) *message = nullptr;
    return WithConnection(handle, [&](Connection& connection) {
        if (message == nullptr) return z9::kWrongArguments;
        z9::MessagePtr next;
        const Z9ERR code = connection.NextMessage(next, std::chrono::milliseconds(timeout));
        *message = next.release();
        return code;
    });
}

Z9ERR Z9MQSendMsg(Z9MQ_CONN_HANDLE handle, const Z9Message* message, Z9Message** reply, uint32_t timeout)
{
    if (reply != nullptr) *reply = nullptr;
    return WithConnection(handle, [&](Connection& connection) {
        if (message == nullptr || reply == nullptr) return z9::kWrongArguments;
        z9::MessagePtr answer;
        const Z9ERR code = connection.Request(*message, answer, std::chrono::milliseconds(timeout));
        *reply = answer.release();
        return code;
    });
}

Z9ERR Z9MQServiceResolve(Z9MQ_CONN_HANDLE handle, const char* name, char* buffer, size_t* size, void* reserved,
                         uint32_t flags)
{
    return WithConnection(handle, [&](Connection& connection) -> Z9ERR {
        if (name == nullptr || size == nullptr || reserved != nullptr || flags != 0) return z9::kWrongArguments;
        std::string address;
        if (const Z9ERR code = connection.Resolve(name, address); code != z9::kOk) return code;
        const size_t capacity = buffer == nullptr ? 0 : *size;
        *size = address.size() + 1;
        if (*size > capacity) return z9::mq::kBufferTooSmall;
        std::memcpy(buffer, address.c_str(), *size);
        return z9::kOk;
    });
}

Z9ERR Z9GetVersion(char** version)
{
    static char text[] = "1.0.0";
    if (version == nullptr) return z9::kWrongArguments;
    *version = text;
    return z9::kOk;
}
