#include "instruments/BaseContractNode.h"

#include <utility>

namespace kv7im {

BaseContractNode::BaseContractNode(std::shared_ptr<CSpecBaseContract> baseContract)
    : current(std::move(baseContract)), Code(current->Code), CodeMCS(current->CodeMCS)
{}

void BaseContractNode::InitializeChangedInstrument()
{
    changed = std::make_shared<CSpecBaseContract>(*current);
    isRecomputed = false;
}

void BaseContractNode::DropChangedInstrument() noexcept
{
    changed.reset();
    isRecomputed = false;
}

void BaseContractNode::SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept
{
    // Without a copy there is nothing to publish: a commit may be repeated before the status is reset.
    if (status != Status::WasChanged || changed == nullptr) return;
    current = std::move(changed);
    isRecomputed = false;
}

} // namespace kv7im
