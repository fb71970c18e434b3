// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <transport/Object.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "Internal.h"

namespace {

class Link;

/** The links of one recipient that have not been told. */
class Links {
  public:
    /** Adds a link, and drops those of objects that nobody holds any more. */
    void add(const std::shared_ptr<Link>& link);
    /** The latest link that is `wanted`, no longer in here; null when there is none. */
    template <class Wanted>
    std::shared_ptr<Link> take(Wanted wanted);

  private:
    std::mutex mLock;  // guards what follows; no link ends while it is held
    std::vector<std::shared_ptr<Link>> mLinks;
};

/** The use of one cookie: it ends with the link, whatever the reason. */
class Link final : public transport::DeathLink {
  public:
    Link(const AIBinder_DeathRecipient& recipient, const std::shared_ptr<transport::Object>& who,
         void* cookie);
    ~Link() override {
        if (mOnUnlinked != nullptr) mOnUnlinked(mCookie);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    bool isFor(const std::shared_ptr<transport::Object>& who, void* cookie) const {
        return mCookie == cookie && mWho.lock() == who;
    }
    bool isForNobody() const { return mWho.expired(); }

    void onDeath() override {
        mOnDied(mCookie);
        const std::shared_ptr<Links> siblings = mSiblings.lock();
        if (siblings == nullptr) return;
        siblings->take([this](const Link& link) { return &link == this; });
    }

  private:
    const std::weak_ptr<transport::Object> mWho;
    const std::weak_ptr<Links> mSiblings;
    const AIBinder_DeathRecipient_onBinderDied mOnDied;
    const AIBinder_DeathRecipient_onBinderUnlinked mOnUnlinked;
    void* const mCookie;
};

void Links::add(const std::shared_ptr<Link>& link) {
    std::vector<std::shared_ptr<Link>> dropped;
    std::lock_guard lock(mLock);
    const auto last = std::stable_partition(
            mLinks.begin(), mLinks.end(), [](const auto& other) { return !other->isForNobody(); });
    dropped.assign(last, mLinks.end());
    mLinks.erase(last, mLinks.end());
    mLinks.push_back(link);
}

template <class Wanted>
std::shared_ptr<Link> Links::take(Wanted wanted) {
    std::lock_guard lock(mLock);
    const auto found = std::find_if(mLinks.rbegin(), mLinks.rend(),
                                    [&wanted](const auto& link) { return wanted(*link); });
    if (found == mLinks.rend()) return nullptr;
    std::shared_ptr<Link> link = std::move(*found);
    mLinks.erase(std::next(found).base());
    return link;
}

/** What is linked over: null for an object of this process. */
std::shared_ptr<transport::Object> proxyOf(AIBinder* binder) {
    return AIBinder_isRemote(binder) ? toTransport(binder->binder()) : nullptr;
}

}  // namespace

struct AIBinder_DeathRecipient {
    const AIBinder_DeathRecipient_onBinderDied onDied;
    AIBinder_DeathRecipient_onBinderUnlinked onUnlinked = nullptr;
    const std::shared_ptr<Links> links = std::make_shared<Links>();
};

Link::Link(const AIBinder_DeathRecipient& recipient, const std::shared_ptr<transport::Object>& who,
           void* cookie)
      : mWho(who),
        mSiblings(recipient.links),
        mOnDied(recipient.onDied),
        mOnUnlinked(recipient.onUnlinked),
        mCookie(cookie) {}

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    return onBinderDied != nullptr ? new AIBinder_DeathRecipient{onBinderDied} : nullptr;
}

void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    recipient->onUnlinked = onUnlinked;
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    delete recipient;
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    const std::shared_ptr<transport::Object> proxy = proxyOf(binder);
    const auto link = std::make_shared<Link>(*recipient, proxy, cookie);
    if (proxy == nullptr) return STATUS_INVALID_OPERATION;
    // Known before it can be told, which takes it out again.
    recipient->links->add(link);
    const binder_status_t status = proxy->asRemote()->linkToDeath(link);
    if (status != STATUS_OK) {
        recipient->links->take([&link](const Link& other) { return &other == link.get(); });
    }
    return status;
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    const std::shared_ptr<transport::Object> proxy = proxyOf(binder);
    const std::shared_ptr<Link> link =
            recipient->links->take([&](const Link& other) { return other.isFor(proxy, cookie); });
    if (link == nullptr) return STATUS_NAME_NOT_FOUND;
    return proxy->asRemote()->unlinkToDeath(link) ? STATUS_OK : STATUS_DEAD_OBJECT;
}
