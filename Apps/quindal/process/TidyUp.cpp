#include "TidyUp.h"

#include <mutex>
#include <utility>

namespace quindal {

namespace {

struct Things
{
    std::mutex mutex;
    std::list<TidyUp::Step> undo; // the oldest first
};

Things& All()
{
    static Things things;
    return things;
}

void Undo(const TidyUp::Step& undo) noexcept
{
    try {
        undo();
    } catch (...) { // a thing that cannot be undone stays; the others are still undone
    }
}

} // namespace

TidyUp::TidyUp(const Step& make, Step undo)
{
    Things& all = All();
    const std::lock_guard lock(all.mutex);
    m_place = all.undo.insert(all.undo.end(), std::move(undo));
    try {
        make();
    } catch (...) {
        all.undo.erase(m_place);
        throw;
    }
}

TidyUp::~TidyUp()
{
    if (m_isKept) return;
    Things& all = All();
    const std::lock_guard lock(all.mutex);
    Undo(*m_place);
    all.undo.erase(m_place);
}

void TidyUp::Keep(const Step& settle)
{
    Things& all = All();
    const std::lock_guard lock(all.mutex);
    settle();
    all.undo.erase(m_place);
    m_isKept = true;
}

void TidyUp::Undisturbed(const Step& step)
{
    const std::lock_guard lock(All().mutex);
    step();
}

void TidyUp::UndoEverything()
{
    Things& all = All();
    all.mutex.lock(); // and never given back
    for (auto undo = all.undo.rbegin(); undo != all.undo.rend(); ++undo)
        Undo(*undo);
}

} // namespace quindal
