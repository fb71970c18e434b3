// SPDX-License-Identifier: Apache-2.0
#include "ObjectTable.h"

#include <algorithm>

#include "Session.h"

namespace transport {

ObjectTable::ObjectTable(std::shared_ptr<Object> root) : mRoot(std::move(root)) {}

std::vector<ObjectEntry> ObjectTable::encode(const Message& message, const void* session,
                                             bool isReply) {
    std::vector<ObjectEntry> entries;
    if (message.objects().empty()) return entries;
    entries.reserve(message.objects().size());
    std::lock_guard lock(mLock);
    if (mCleared) return entries;
    for (const std::shared_ptr<Object>& object : message.objects()) {
        // Every remote object of this layer is a proxy of some session.
        auto* proxy = static_cast<Proxy*>(object->asRemote());
        if (proxy != nullptr && proxy->belongsTo(session)) {
            entries.push_back({ObjectEntry::ReceiversOwn, proxy->handle()});
            if (isReply) mGoingHome.emplace_back(proxy->handle(), object);
            continue;
        }
        auto [known, isNew] = mHandles.try_emplace(object.get(), mNextHandle);
        if (isNew) mExported.emplace(mNextHandle++, Exported{object, 0});
        mExported.at(known->second).count++;
        entries.push_back({ObjectEntry::SendersOwn, known->second});
    }
    return entries;
}

android::status_t ObjectTable::decode(const std::vector<ObjectEntry>& entries,
                                      const MakeProxy& makeProxy,
                                      std::vector<std::shared_ptr<Object>>* objects,
                                      std::vector<uint64_t>* home) {
    objects->reserve(entries.size());
    for (const ObjectEntry& entry : entries) {
        if (entry.owner == ObjectEntry::ReceiversOwn) {
            std::shared_ptr<Object> object = find(entry.handle);
            if (object == nullptr) return android::BAD_TYPE;
            objects->push_back(std::move(object));
            home->push_back(entry.handle);
            continue;
        }
        if (entry.owner != ObjectEntry::SendersOwn || entry.handle == kRootHandle) {
            return android::BAD_TYPE;
        }
        std::lock_guard lock(mLock);
        std::weak_ptr<Proxy>& slot = mProxies[entry.handle];
        std::shared_ptr<Proxy> proxy = slot.lock();
        if (proxy == nullptr) {
            proxy = makeProxy(entry.handle);
            slot = proxy;
            mLiveProxies++;
        }
        proxy->countReceived();
        objects->push_back(std::move(proxy));
    }
    return android::OK;
}

std::shared_ptr<Object> ObjectTable::find(uint64_t handle) {
    std::lock_guard lock(mLock);
    if (handle == kRootHandle) return mRoot;
    auto found = mExported.find(handle);
    return found != mExported.end() ? found->second.object : nullptr;
}

std::shared_ptr<Object> ObjectTable::release(uint64_t handle, uint32_t count) {
    std::lock_guard lock(mLock);
    auto found = mExported.find(handle);
    if (found == mExported.end()) return nullptr;
    if (count < found->second.count) {
        found->second.count -= count;
        return nullptr;
    }
    std::shared_ptr<Object> object = std::move(found->second.object);
    mExported.erase(found);
    mHandles.erase(object.get());
    return object;
}

std::shared_ptr<Object> ObjectTable::homeReceived(uint64_t handle) {
    std::lock_guard lock(mLock);
    auto found = std::find_if(mGoingHome.begin(), mGoingHome.end(),
                              [handle](const auto& kept) { return kept.first == handle; });
    if (found == mGoingHome.end()) return nullptr;
    std::shared_ptr<Object> object = std::move(found->second);
    mGoingHome.erase(found);
    return object;
}

void ObjectTable::addProxy(uint64_t handle, const std::shared_ptr<Proxy>& proxy) {
    std::lock_guard lock(mLock);
    mProxies[handle] = proxy;
    mLiveProxies++;
}

void ObjectTable::proxyGone(uint64_t handle) {
    std::lock_guard lock(mLock);
    mLiveProxies--;
    // The slot may belong to a newer proxy of the same object.
    auto found = mProxies.find(handle);
    if (found != mProxies.end() && found->second.expired()) mProxies.erase(found);
}

std::vector<std::shared_ptr<Proxy>> ObjectTable::proxies() {
    std::vector<std::shared_ptr<Proxy>> live;
    std::lock_guard lock(mLock);
    for (const auto& [handle, slot] : mProxies) {
        if (std::shared_ptr<Proxy> proxy = slot.lock()) live.push_back(std::move(proxy));
    }
    return live;
}

bool ObjectTable::isUnused() {
    std::lock_guard lock(mLock);
    return mLiveProxies == 0 && mExported.empty();
}

std::vector<std::shared_ptr<Object>> ObjectTable::clear() {
    std::lock_guard lock(mLock);
    mCleared = true;
    std::vector<std::shared_ptr<Object>> objects;
    for (auto& [handle, exported] : mExported)
        objects.push_back(std::move(exported.object));
    for (auto& [handle, object] : mGoingHome)
        objects.push_back(std::move(object));
    if (mRoot != nullptr) objects.push_back(std::move(mRoot));
    mExported.clear();
    mHandles.clear();
    mGoingHome.clear();
    return objects;
}

}  // namespace transport
