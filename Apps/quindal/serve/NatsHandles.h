// Handles of the router's client library, each destroyed by its own function.
#pragma once

#include <memory>

#include <nats/nats.h>

namespace quindal {

template <auto Destroy>
struct NatsDestroyer
{
    template <class T>
    void operator()(T* handle) const noexcept
    {
        Destroy(handle);
    }
};

using NatsOptions = std::unique_ptr<natsOptions, NatsDestroyer<natsOptions_Destroy>>;
using NatsConnection = std::unique_ptr<natsConnection, NatsDestroyer<natsConnection_Destroy>>;
using NatsSubscription = std::unique_ptr<natsSubscription, NatsDestroyer<natsSubscription_Destroy>>;
using NatsMessage = std::unique_ptr<natsMsg, NatsDestroyer<natsMsg_Destroy>>;

} // namespace quindal
