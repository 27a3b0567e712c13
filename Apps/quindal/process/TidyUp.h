// TidyUp: what a run has made and must not leave behind: folders, half-written files, a router.
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

    /// Does `make` and remembers what undoes it. When `make` throws there is nothing to undo. Neither step may use
    /// this class.
    TidyUp(const Step& make, Step undo);
    ~TidyUp(); ///< Undoes it, unless it is kept.
    TidyUp(const TidyUp&) = delete;
    TidyUp& operator=(const TidyUp&) = delete;

    /// Does `settle`, after which the thing is to stay. When `settle` throws it is undone after all, by the destructor.
    void Keep(const Step& settle);

    /// Does what a signal must not come between.
    static void Undisturbed(const Step& step);

    /// Undoes everything, the newest first. For the thread that ends the process: other threads that come to make,
    /// keep or undo anything from here on wait for ever, so they do not see the ground go from under them.
    static void UndoEverything();

private:
    std::list<Step>::iterator m_place;
    bool m_isKept = false;
};

} // namespace quindal
