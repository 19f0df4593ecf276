#ifndef PLATFORM_WEAK_PTR_H_
#define PLATFORM_WEAK_PTR_H_

#include <memory>
#include <utility>

namespace orvane::platform {

// A reference that does not own: `get()` is null once the owner is gone.
template <typename T>
class WeakPtr {
 public:
  WeakPtr() = default;

  T* get() const { return liveness_.lock().get(); }
  explicit operator bool() const { return !liveness_.expired(); }
  T* operator->() const { return get(); }

 private:
  template <typename U>
  friend class WeakPtrFactory;

  explicit WeakPtr(std::weak_ptr<T> liveness) : liveness_(std::move(liveness)) {}

  std::weak_ptr<T> liveness_;
};

// Gives out weak references to its owner. Make it the owner's last member, so that the references
// are dead before anything else of the owner is destroyed.
template <typename T>
class WeakPtrFactory {
 public:
  explicit WeakPtrFactory(T* owner) : owner_(owner) {}
  WeakPtrFactory(const WeakPtrFactory&) = delete;
  WeakPtrFactory& operator=(const WeakPtrFactory&) = delete;

  WeakPtr<T> GetWeakPtr() {
    // Only counts references: the deleter leaves the owner alone.
    if (liveness_ == nullptr) liveness_.reset(owner_, [](T*) {});
    return WeakPtr<T>(liveness_);
  }

  // Kills the references given out so far; later ones are alive again.
  void InvalidateWeakPtrs() { liveness_.reset(); }

 private:
  T* owner_;
  std::shared_ptr<T> liveness_;
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
