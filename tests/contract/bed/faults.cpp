#include "faults.h"

#include <dlfcn.h>
#include <mntent.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host.h"
#include "znfi.h"

#define BED_REPLACES extern "C" __attribute__((visibility("default")))

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BED_OWNS_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define BED_OWNS_MALLOC 0
#endif
#endif
#ifndef BED_OWNS_MALLOC
#define BED_OWNS_MALLOC 1
#endif

namespace {

bed::Faults active;
thread_local int allocationsLeft = 0;  // until one is refused; 0: none is
thread_local bool isRefused = false;

thread_local bool isBedAtWork = false;

// What the bed does inside a call of the libraries gets all the memory that it needs.
class Uncounted {
  public:
    Uncounted() : left_(std::exchange(allocationsLeft, 0)) { isBedAtWork = true; }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;
    ~Uncounted() {
        allocationsLeft = left_;
        isBedAtWork = false;
    }

  private:
    int left_;
};
int buffers = 0;
std::vector<std::string> removed;

template <typename Function>
Function* next(const char* name) {
    void* found = dlsym(RTLD_NEXT, name);
    return reinterpret_cast<Function*>(found);
}

void raiseOnce() {
    if (active.raise) {
        std::exchange(active.raise, nullptr)();
    }
}

}  // namespace

namespace bed {

void setFaults(const Faults& faults) {
    active = faults;
    buffers = 0;
}

const std::vector<std::string>& directoriesRemoved() {
    return removed;
}
void forgetRemovals() {
    removed.clear();
}

bool isAtWork() {
    return isBedAtWork;
}

void refuseMemoryAt(int nth) {
    isRefused = isRefused && nth == 0;
    allocationsLeft = nth;
}

bool wasMemoryRefused() {
    return isRefused;
}

bool canRefuseMemory() {
    return BED_OWNS_MALLOC != 0;
}

}  // namespace bed

BED_REPLACES znfi_objid* znfi_get_objid(const char* name, uint32_t length, int flag) {
    static auto* real = next<decltype(znfi_get_objid)>("znfi_get_objid");
    raiseOnce();
    return name != nullptr && !active.noObjidFor.empty() && active.noObjidFor == name ? nullptr
                                                                                      : real(name, length, flag);
}

BED_REPLACES void* znfi_alloc_buf(size_t size) {
    static auto* real = next<decltype(znfi_alloc_buf)>("znfi_alloc_buf");
    raiseOnce();
    return ++buffers == active.noBufferAtCall ? nullptr : real(size);
}

BED_REPLACES zfi_provider_list* znfi_build_providerlist_node(const char* name, uint64_t capabilities, uint32_t kind,
                                                             const zfi_version* version, char* const* fiTypes) {
    static auto* real = next<decltype(znfi_build_providerlist_node)>("znfi_build_providerlist_node");
    raiseOnce();
    return active.noProviderNode ? nullptr : real(name, capabilities, kind, version, fiTypes);
}

BED_REPLACES FILE* fopen(const char* path, const char* mode) {
    static auto* real = next<decltype(fopen)>("fopen");
    {
        const Uncounted uncounted;
        bed::beforeOpening(path);
    }
    if (active.noKernelTable && std::strcmp(path, "/proc/mounts") == 0) {
        errno = EACCES;
        return nullptr;
    }
    return real(path, mode);
}

BED_REPLACES FILE* fopen64(const char* path, const char* mode) {
    return fopen(path, mode);
}

BED_REPLACES FILE* setmntent(const char* path, const char* mode) noexcept {
    static auto* real = next<decltype(setmntent)>("setmntent");
    {
        const Uncounted uncounted;
        bed::beforeOpening(path);
    }
    return active.noKernelTable && std::strcmp(path, "/proc/mounts") == 0 ? nullptr : real(path, mode);
}

BED_REPLACES int statfs(const char* path, struct statfs* info) noexcept {
    static auto* real = next<decltype(statfs)>("statfs");
    if (active.noStatfs) {
        errno = EIO;
        return -1;
    }
    const int result = real(path, info);
    if (result == 0 && active.statfsMagic != 0) {
        info->f_type = active.statfsMagic;
    }
    return result;
}

BED_REPLACES int statvfs(const char* path, struct statvfs* info) noexcept {
    static auto* real = next<decltype(statvfs)>("statvfs");
    if (active.noStatvfs) {
        errno = EIO;
        return -1;
    }
    return real(path, info);
}

BED_REPLACES int semget(key_t key, int count, int flags) noexcept {
    static auto* real = next<decltype(semget)>("semget");
    if (active.noSemaphore) {
        errno = ENOSPC;
        return -1;
    }
    return real(key, count, flags);
}

BED_REPLACES int rmdir(const char* path) noexcept {
    static auto* real = next<decltype(rmdir)>("rmdir");
    {
        const Uncounted uncounted;
        removed.emplace_back(path);
    }
    return real(path);
}

#if BED_OWNS_MALLOC
BED_REPLACES char* strdup(const char* text) noexcept {
    static auto* real = next<decltype(strdup)>("strdup");
    return !active.noCopyOf.empty() && active.noCopyOf == text ? nullptr : real(text);
}

extern "C" void* __libc_malloc(size_t size);

BED_REPLACES void* malloc(size_t size) noexcept {
    if (allocationsLeft > 0 && --allocationsLeft == 0) {
        isRefused = true;
        errno = ENOMEM;
        return nullptr;
    }
    return size == sizeof(char*) && active.noPathArray ? nullptr : __libc_malloc(size);
}
#endif
