// Turns: two threads that share a day, one call at a time. What one throws is thrown where the turn was asked for.
#pragma once

#include <exception>
#include <functional>
#include <semaphore>
#include <thread>

namespace simulation {

class TurnTaker
{
public:
    TurnTaker() = default;
    TurnTaker(const TurnTaker&) = delete;
    TurnTaker& operator=(const TurnTaker&) = delete;
    ~TurnTaker()
    {
        m_turn = nullptr;
        m_begin.release();
        m_thread.join();
    }

    void Take(const std::function<void()>& turn)
    {
        m_turn = &turn;
        m_failure = nullptr;
        m_begin.release();
        m_end.acquire();
        if (m_failure != nullptr) std::rethrow_exception(m_failure);
    }

private:
    void Run()
    {
        for (m_begin.acquire(); m_turn != nullptr; m_begin.acquire()) {
            try {
                (*m_turn)();
            } catch (...) {
                m_failure = std::current_exception();
            }
            m_end.release();
        }
    }

    const std::function<void()>* m_turn = nullptr;
    std::exception_ptr m_failure;
    std::binary_semaphore m_begin{0};
    std::binary_semaphore m_end{0};
    std::thread m_thread{[this] { Run(); }}; // last: it uses everything above
};

} // namespace simulation
