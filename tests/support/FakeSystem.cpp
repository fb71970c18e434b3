// SPDX-License-Identifier: Apache-2.0
//
// The linker lets every call of a function here go to __wrap_ and its name, and calls it __real_.

#include "tests/support/FakeSystem.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <sys/types.h>
#include <unistd.h>

#include <mutex>
#include <set>

#include "service/ZulService.h"

namespace zul::test {

std::atomic<bool> FakeSystem::locked;
std::function<bool()> FakeSystem::onFork;
std::function<void(int fd)> FakeSystem::onSync;
std::function<size_t(size_t size)> FakeSystem::onWrite;
std::function<void(int fd)> FakeSystem::onRead;
std::atomic<unsigned> FakeSystem::ownUser;
std::atomic<bool> FakeSystem::refusesRecordLocks;
std::atomic<bool> FakeSystem::hidesFileTypes;

namespace {

struct Services {
    std::mutex lock;
    std::set<const void*> all;
};

Services& services() {
    // Objects also go after the end of main.
    static Services& services = *new Services();
    return services;
}

bool isServiceLock(const pthread_mutex_t* mutex) {
    return static_cast<const void*>(mutex) == &ZulService::mServiceLock;
}

}  // namespace

size_t FakeSystem::services() {
    const std::lock_guard lock(test::services().lock);
    return test::services().all.size();
}

void FakeSystem::reset() {
    onFork = nullptr;
    onSync = nullptr;
    onWrite = nullptr;
    onRead = nullptr;
    ownUser = 0;
    refusesRecordLocks = false;
    hidesFileTypes = false;
}

extern "C" {

pid_t __real_fork();
pid_t __wrap_fork() {
    if (!FakeSystem::onFork || FakeSystem::onFork()) return __real_fork();
    errno = EAGAIN;
    return -1;
}

// The copy costs more but does no harm, and unlike the real one it can be wrapped.
pid_t __wrap_vfork() {
    return __wrap_fork();
}

int __real_fsync(int fd);
int __wrap_fsync(int fd) {
    if (FakeSystem::onSync) FakeSystem::onSync(fd);
    return __real_fsync(fd);
}

ssize_t __real_write(int fd, const void* data, size_t size);
ssize_t __wrap_write(int fd, const void* data, size_t size) {
    const bool passes = fd == STDERR_FILENO || !FakeSystem::onWrite;
    const size_t part = passes ? size : FakeSystem::onWrite(size);
    if (passes || part > 0) return __real_write(fd, data, part);
    errno = EINTR;
    return -1;
}

ssize_t __real_read(int fd, void* data, size_t size);
ssize_t __wrap_read(int fd, void* data, size_t size) {
    if (FakeSystem::onRead) FakeSystem::onRead(fd);
    return __real_read(fd, data, size);
}

uid_t __wrap_geteuid() {
    return FakeSystem::ownUser;
}

int __real_fcntl(int fd, int command, void* argument);
int __wrap_fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    const bool locks = command == F_SETLKW || command == F_SETLK;
    if (!locks || !FakeSystem::refusesRecordLocks) return __real_fcntl(fd, command, argument);
    errno = ENOLCK;
    return -1;
}

dirent* __real_readdir(DIR* folder);
dirent* __wrap_readdir(DIR* folder) {
    dirent* entry = __real_readdir(folder);
    if (entry != nullptr && FakeSystem::hidesFileTypes) entry->d_type = DT_UNKNOWN;
    return entry;
}

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_lock(mutex);
    if (isServiceLock(mutex)) FakeSystem::locked = true;
    return result;
}

int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    if (isServiceLock(mutex)) FakeSystem::locked = false;
    return __real_pthread_mutex_unlock(mutex);
}

// ZulService::ZulService()
void __real__ZN3zul10ZulServiceC1Ev(void* object);
void __wrap__ZN3zul10ZulServiceC1Ev(void* object) {
    __real__ZN3zul10ZulServiceC1Ev(object);
    const std::lock_guard lock(services().lock);
    services().all.insert(object);
}

// android::RefBase::~RefBase()
void __real__ZN7android7RefBaseD2Ev(void* object);
void __wrap__ZN7android7RefBaseD2Ev(void* object) {
    {
        const std::lock_guard lock(services().lock);
        services().all.erase(object);
    }
    __real__ZN7android7RefBaseD2Ev(object);
}

}  // extern "C"

}  // namespace zul::test
