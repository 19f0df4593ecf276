#ifndef PLATFORM_WEAK_PTR_H_
#define PLATFORM_WEAK_PTR_H_

#include <memory>
#include <utility>

namespace orvane::platform {

// A reference that does not own: `get()` returns null once the owner is destroyed.
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

// Creates weak references to its owner. Make it the owner's last member, so that the references
// become null before the owner's other members are destroyed.
template <typename T>
class WeakPtrFactory {
 public:
  explicit WeakPtrFactory(T* owner) : owner_(owner) {}
  WeakPtrFactory(const WeakPtrFactory&) = delete;
  WeakPtrFactory& operator=(const WeakPtrFactory&) = delete;

  WeakPtr<T> GetWeakPtr() {
    // The shared pointer only tracks lifetime: its deleter does nothing.
    if (liveness_ == nullptr) liveness_.reset(owner_, [](T*) {});
    return WeakPtr<T>(liveness_);
  }

  // Makes all existing references null. Later references are valid.
  void InvalidateWeakPtrs() { liveness_.reset(); }

 private:
  T* owner_;
  std::shared_ptr<T> liveness_;
};

// Returns a callable that runs `method` on the referent with the arguments of the call. It does
// nothing once the referent is destroyed.
template <typename T, typename Method>
auto BindWeak(WeakPtr<T> weak, Method method) {
  return [weak = std::move(weak), method](auto&&... arguments) {
    if (T* owner = weak.get()) (owner->*method)(std::forward<decltype(arguments)>(arguments)...);
  };
}

}  // namespace orvane::platform

#endif  // PLATFORM_WEAK_PTR_H_
