// Counted references. Every object that the framework and a provider share derives from CFiRefCount and travels in a
// CFiSmartPtr; the object is deleted when its last reference goes. Counts may be changed from any thread; one
// CFiSmartPtr object may not.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "znfi.h"

class ZNFI_API CFiRefCount {
  public:
    CFiRefCount() = default;
    CFiRefCount(const CFiRefCount&) = delete;
    CFiRefCount& operator=(const CFiRefCount&) = delete;
    virtual ~CFiRefCount() = default;

    virtual int32_t increment() { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    virtual int32_t decrement() { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    virtual int32_t getCount() const { return count_.load(std::memory_order_acquire); }

  private:
    std::atomic<int32_t> count_{0};
};

template <typename T>
class CFiSmartPtr {
  public:
    CFiSmartPtr() = default;
    explicit CFiSmartPtr(T* object) : object_(object) { take(); }
    CFiSmartPtr(const CFiSmartPtr& other) : object_(other.object_) { take(); }
    CFiSmartPtr(CFiSmartPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <typename U>
    CFiSmartPtr(const CFiSmartPtr<U>& other) : object_(other.get()) {
        take();
    }
    ~CFiSmartPtr() { drop(); }

    CFiSmartPtr& operator=(CFiSmartPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    void reset() { CFiSmartPtr().swap(*this); }
    void swap(CFiSmartPtr& other) noexcept { std::swap(object_, other.object_); }

    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    bool operator==(const CFiSmartPtr& other) const { return object_ == other.object_; }

  private:
    void take() {
        if (object_ != nullptr) {
            object_->increment();
        }
    }
    void drop() {
        if (object_ != nullptr && object_->decrement() == 0) {
            object_->increment();  // references taken during destruction must not delete it a second time
            delete object_;
        }
    }

    T* object_ = nullptr;
};

// A counted reference to a new T.
template <typename T, typename... Arguments>
CFiSmartPtr<T> makeCounted(Arguments&&... arguments) {
    return CFiSmartPtr<T>(new T(std::forward<Arguments>(arguments)...));
}
