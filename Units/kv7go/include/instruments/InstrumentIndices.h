// Indices of the containers of instruments: their names, their keys, and changes that leave the keys alone.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>

#include "CodeMap.h"
#include "Enums.h"
#include "instruments/TransactionStatus.h"

namespace kv7im {

// Names of the indices.
struct ByCode;
struct ByIsin;
struct ByBaseContract;
struct ByStatus;
struct ByMMS;
struct ByMCS;
struct ByInsertion;

namespace index_of {

namespace bmi = boost::multi_index;

template <class Node, const std::string& (Node::*Key)() const noexcept>
using TextKey =
    bmi::const_mem_fun_explicit<Node, const std::string&, const std::string& (Node::*)() const noexcept, Key>;
template <class Node, class Tag, const std::string& (Node::*Key)() const noexcept>
using UniqueCode =
    bmi::hashed_unique<bmi::tag<Tag>, TextKey<Node, Key>, kv7base::CodeHash, std::equal_to<std::string_view>>;
template <class Node, class Tag, const std::string& (Node::*Key)() const noexcept>
using SharedCode =
    bmi::hashed_non_unique<bmi::tag<Tag>, TextKey<Node, Key>, kv7base::CodeHash, std::equal_to<std::string_view>>;
template <class Node, Isin (Node::*Key)() const noexcept>
using IsinKey = bmi::const_mem_fun_explicit<Node, Isin, Isin (Node::*)() const noexcept, Key>;
template <class Node, class Tag, Isin (Node::*Key)() const noexcept>
using UniqueIsin = bmi::hashed_unique<bmi::tag<Tag>, IsinKey<Node, Key>>;
template <class Node>
using NodeStatus = bmi::const_mem_fun_explicit<Node, Status, Status (Node::*)() const noexcept, &Node::GetStatus>;

} // namespace index_of

/// An element of a container for a change that leaves its keys alone. No index takes part in it, whereas the
/// container's own modify looks the element up in each of them, among all that share a key with it.
template <class Element>
[[nodiscard]] Element& BesideKeys(const Element& element) noexcept
{
    return const_cast<Element&>(element);
}

} // namespace kv7im
