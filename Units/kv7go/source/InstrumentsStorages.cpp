#include "InstrumentsStorages.h"

#include <utility>

namespace kv7im {

BaseContractNode::BaseContractNode(std::shared_ptr<CSpecBaseContract> baseContract)
    : current(std::move(baseContract)), Code(current->Code), CodeMCS(current->CodeMCS)
{}

void BaseContractNode::InitializeChangedInstrument() { changed = std::make_shared<CSpecBaseContract>(*current); }

void BaseContractNode::SwapNewestInstrumentAsRegularAndClearNewNodes() noexcept
{
    // Without a copy there is nothing to publish: a commit may be repeated before the status is reset.
    if (status != Status::WasChanged || changed == nullptr) return;
    current = std::move(changed);
}

FuturesNode::FuturesNode(std::shared_ptr<CSpecFutures> futures)
    : current(std::move(futures)), isin(current->isin), code(current->Code), codeBaseContract(current->CodeBC)
{
    RefreshGroupCodes();
}

void FuturesNode::InitializeChangedInstrument(CSpecBaseContract* changedBaseContract)
{
    changed = std::make_shared<CSpecFutures>(*current, changedBaseContract);
}

void FuturesNode::SwapNewestInstrumentAsRegularAndClearNewNodes()
{
    if (status != Status::WasChanged || changed == nullptr) return;
    current = std::move(changed);
    RefreshGroupCodes();
}

void FuturesNode::RefreshGroupCodes()
{
    mmsCode = current->IsInSpread ? codeBaseContract : std::string{};
    mcsCode = mmsCode.empty() ? std::string{} : current->BaseContract->CodeMCS;
}

} // namespace kv7im
