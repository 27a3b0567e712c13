// TidyUp: things that a run has made and must not leave behind: folders, half-written files, a router.
//
// Always true:  each thing is undone once, by its owner or by the signal that ends the run, whichever comes first; a
//               signal finds a thing made and remembered, or not made at all.
#pragma once

#include <functional>
#include <list>

namespace quindal {

class TidyUp
{
public:
    using Step = std::function<void()>;

    /// Calls `make` and remembers `undo`. When `make` throws, nothing is undone. Neither function may use this class.
    TidyUp(const Step& make, Step undo);
    ~TidyUp(); ///< Calls `undo`, unless the thing is kept.
    TidyUp(const TidyUp&) = delete;
    TidyUp& operator=(const TidyUp&) = delete;

    /// Calls `settle`, after which the thing stays. When `settle` throws, the destructor undoes the thing after all.
    void Keep(const Step& settle);

    /// Calls `step` while no signal can come between.
    static void Undisturbed(const Step& step);

    /// Undoes everything, the newest first. For the thread that ends the process: other threads that come to make, keep
    /// or undo something from here on wait for ever, so that nothing they use vanishes under them.
    static void UndoEverything();

private:
    std::list<Step>::iterator m_place;
    bool m_isKept = false;
};

} // namespace quindal
