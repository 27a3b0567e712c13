#include "instruments/FuturesNode.h"

#include <utility>

namespace kv7im {

FuturesNode::FuturesNode(std::shared_ptr<CSpecFutures> futures)
    : current(std::move(futures)),
      isin(current->isin),
      code(current->Code),
      codeBaseContract(current->CodeBC),
      mcsCode(current->BaseContract->CodeMCS),
      isInSpread(current->IsInSpread)
{}

StorageVirtualFutures::const_iterator FuturesNode::GetVirtualFuturesIterator(AccessByStatus access,
                                                                             std::string_view seriesCode) const
{
    return Storage(access).find(seriesCode);
}

const CSpecVirtFutures* FuturesNode::GetVirtualFutures(AccessByStatus access, std::string_view seriesCode) const
{
    const auto series = GetVirtualFuturesIterator(access, seriesCode);
    return series == Storage(access).end() ? nullptr : series->second.get();
}

const CSpecOption* FuturesNode::GetNewestOption(const CSpecOption& currentOption) const
{
    if (!state.ShowsCopies()) return &currentOption;
    const auto series = storageChanged.find(currentOption.CodeVF);
    return series == storageChanged.end() ? nullptr : series->second.GetOption(currentOption.isin);
}

StorageVirtualFutures::iterator FuturesNode::InsertVirtualFuturesNode(AccessByStatus access,
                                                                      const VirtualFuturesNode& node)
{
    return Storage(access).try_emplace(node.Code(), node).first;
}

} // namespace kv7im
