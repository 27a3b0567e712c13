// BaseContractNode: a base contract, and the copy that an open change of its family works on.
//
// Always true:  a reader of the new object gets the current one unless the status is WasChanged.
#pragma once

#include <memory>
#include <string>

#include "instruments/SpecBaseContract.h"
#include "instruments/TransactionStatus.h"

namespace kv7im {

class BaseContractNode
{
public:
    /// Takes the keys from the object. The object must be there.
    explicit BaseContractNode(std::shared_ptr<CSpecBaseContract> baseContract);

    [[nodiscard]] CSpecBaseContract* GetCurrent() const noexcept { return current.get(); }
    [[nodiscard]] CSpecBaseContract* GetChanged() const noexcept
    {
        return status == Status::WasChanged && changed != nullptr ? changed.get() : current.get();
    }
    [[nodiscard]] CSpecBaseContract* Get(AccessByStatus access) const noexcept
    {
        return access == AccessByStatus::eNew ? GetChanged() : GetCurrent();
    }
    [[nodiscard]] Status GetStatus() const noexcept { return status; }
    void SetStatus(Status value) noexcept { status = value; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return Code; }
    [[nodiscard]] const std::string& GetMCS() const noexcept { return CodeMCS; }

    /// Opens the change of the base contract: `changed` becomes a copy of `current`.
    void InitializeChangedInstrument();
    /// Drops the copy of an opened change.
    void DropChangedInstrument() noexcept;
    /// Marks the changed objects of the family as recomputed; what enters the family afterwards has to be recomputed.
    void SetRecomputed() noexcept { isRecomputed = true; }
    [[nodiscard]] bool IsRecomputed() const noexcept { return isRecomputed; }
    /// Makes the changed object current and releases the old one. Does nothing unless the status is WasChanged; the
    /// status itself stays, since it is an index key.
    void SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept;

private:
    std::shared_ptr<CSpecBaseContract> current;
    std::shared_ptr<CSpecBaseContract> changed;
    std::string Code; // keys of their own, which outlive a swap
    std::string CodeMCS;
    Status status = Status::NotChanged;
    bool isRecomputed = false; // the changed objects of the family were recomputed at least once
};

} // namespace kv7im
