// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <transport/Object.h>

#include <memory>

#include "Internal.h"

namespace {

struct Functions {
    AIBinder_DeathRecipient_onBinderDied onDied;
    AIBinder_DeathRecipient_onBinderUnlinked onUnlinked;
};

/** The use of one cookie: it ends with the link, whatever the reason. */
struct Link {
    Link(const std::shared_ptr<const Functions>& functions, void* cookieOfLink)
          : recipient(functions), onUnlinked(functions->onUnlinked), cookie(cookieOfLink) {}
    ~Link() {
        if (onUnlinked != nullptr) onUnlinked(cookie);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    const std::weak_ptr<const Functions> recipient;
    const AIBinder_DeathRecipient_onBinderUnlinked onUnlinked;
    void* const cookie;
};

}  // namespace

struct AIBinder_DeathRecipient {
    const std::shared_ptr<Functions> functions;
};

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    if (onBinderDied == nullptr) return nullptr;
    return new AIBinder_DeathRecipient{
            std::make_shared<Functions>(Functions{onBinderDied, nullptr})};
}

void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    recipient->functions->onUnlinked = onUnlinked;
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    delete recipient;
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    const auto link = std::make_shared<const Link>(recipient->functions, cookie);
    if (binder->binder()->remoteBinder() == nullptr) return STATUS_INVALID_OPERATION;
    return toTransport(binder->binder())->asRemote()->linkToDeath([link] {
        if (const auto told = link->recipient.lock()) told->onDied(link->cookie);
    });
}
