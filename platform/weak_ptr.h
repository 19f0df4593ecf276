#ifndef PLATFORM_WEAK_PTR_H_
#define PLATFORM_WEAK_PTR_H_

#include <cstdint>
#include <utility>

namespace orvane::platform {

namespace internal {

// Shared by a factory and the weak references it gave out. The count is a plain integer: weak
// references stay on the thread of the loop.
class Liveness {
 public:
  void Acquire() { ++references_; }
  void Release() {
    if (--references_ == 0) Destroy();
  }
  bool alive() const { return alive_; }
  void Kill() { alive_ = false; }

 private:
  ~Liveness() = default;

  // Out of line, since GCC otherwise takes the release of another reference for a use after it.
  [[gnu::noinline]] void Destroy() { delete this; }

  std::uint32_t references_ = 0;
  bool alive_ = true;
};

class LivenessRef {
 public:
  LivenessRef() = default;
  explicit LivenessRef(Liveness* liveness) : liveness_(liveness) {
    if (liveness_ != nullptr) liveness_->Acquire();
  }
  LivenessRef(const LivenessRef& other) : LivenessRef(other.liveness_) {}
  LivenessRef(LivenessRef&& other) noexcept : liveness_(std::exchange(other.liveness_, nullptr)) {}
  LivenessRef& operator=(LivenessRef other) noexcept {
    std::swap(liveness_, other.liveness_);
    return *this;
  }
  ~LivenessRef() {
    if (liveness_ != nullptr) liveness_->Release();
  }

  Liveness* get() const { return liveness_; }

 private:
  Liveness* liveness_ = nullptr;
};

}  // namespace internal

// A reference that does not own: `get()` is null once the owner is gone.
template <typename T>
class WeakPtr {
 public:
  WeakPtr() = default;

  T* get() const {
    return liveness_.get() != nullptr && liveness_.get()->alive() ? owner_ : nullptr;
  }
  explicit operator bool() const { return get() != nullptr; }
  T* operator->() const { return get(); }

 private:
  template <typename U>
  friend class WeakPtrFactory;

  WeakPtr(internal::LivenessRef liveness, T* owner)
      : liveness_(std::move(liveness)), owner_(owner) {}

  internal::LivenessRef liveness_;
  T* owner_ = nullptr;
};

// Gives out weak references to its owner. Make it the owner's last member, so that the references
// are dead before anything else of the owner is destroyed.
template <typename T>
class WeakPtrFactory {
 public:
  explicit WeakPtrFactory(T* owner) : owner_(owner) {}
  WeakPtrFactory(const WeakPtrFactory&) = delete;
  WeakPtrFactory& operator=(const WeakPtrFactory&) = delete;
  ~WeakPtrFactory() { InvalidateWeakPtrs(); }

  WeakPtr<T> GetWeakPtr() {
    if (liveness_.get() == nullptr) liveness_ = internal::LivenessRef(new internal::Liveness);
    return WeakPtr<T>(liveness_, owner_);
  }

  // Kills the references given out so far; later ones are alive again.
  void InvalidateWeakPtrs() {
    if (liveness_.get() != nullptr) liveness_.get()->Kill();
    liveness_ = internal::LivenessRef();
  }

 private:
  T* owner_;
  internal::LivenessRef liveness_;
};

// A callable that runs `method` on the referent with the arguments of the call, and does nothing
// once the referent is gone.
template <typename T, typename Method>
auto BindWeak(WeakPtr<T> weak, Method method) {
  return [weak = std::move(weak), method](auto&&... arguments) {
    if (T* owner = weak.get()) (owner->*method)(std::forward<decltype(arguments)>(arguments)...);
  };
}

}  // namespace orvane::platform

#endif  // PLATFORM_WEAK_PTR_H_
