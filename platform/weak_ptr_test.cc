#include "platform/weak_ptr.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace orvane::platform {
namespace {

class Owner {
 public:
  WeakPtr<Owner> GetWeakPtr() { return weak_ptr_factory_.GetWeakPtr(); }
  void InvalidateWeakPtrs() { weak_ptr_factory_.InvalidateWeakPtrs(); }

  void Take(int number, std::unique_ptr<std::string> text) {
    number_ = number;
    text_ = std::move(*text);
  }
  void Increment(int& number) { ++number; }

  int number_ = 0;
  std::string text_;

 private:
  WeakPtrFactory<Owner> weak_ptr_factory_{this};
};

TEST(WeakPtrTest, RefersToNothingByDefault) {
  const WeakPtr<Owner> weak;
  EXPECT_EQ(weak.get(), nullptr);
  EXPECT_FALSE(weak);
}

TEST(WeakPtrTest, RefersToItsOwnerAsLongAsThatLives) {
  auto owner = std::make_unique<Owner>();
  const WeakPtr<Owner> first = owner->GetWeakPtr();
  const WeakPtr<Owner> second = owner->GetWeakPtr();
  EXPECT_EQ(first.get(), owner.get());
  EXPECT_TRUE(second);
  second->number_ = 5;
  EXPECT_EQ(owner->number_, 5);

  owner.reset();
  EXPECT_EQ(first.get(), nullptr);
  EXPECT_FALSE(second);
}

TEST(WeakPtrTest, CopiesDieWithTheOwnerAndMovedFromOnesAtOnce) {
  std::optional<Owner> owner(std::in_place);
  WeakPtr<Owner> original = owner->GetWeakPtr();
  const WeakPtr<Owner> copy = original;
  const WeakPtr<Owner> moved = std::move(original);
  EXPECT_EQ(copy.get(), &*owner);
  EXPECT_EQ(moved.get(), &*owner);
  EXPECT_EQ(original.get(), nullptr);  // NOLINT(bugprone-use-after-move): what is promised
  owner.reset();
  EXPECT_EQ(copy.get(), nullptr);
  EXPECT_EQ(moved.get(), nullptr);
}

TEST(WeakPtrTest, AssignmentLetsGoOfTheFormerReferent) {
  auto first = std::make_unique<Owner>();
  auto second = std::make_unique<Owner>();
  WeakPtr<Owner> weak = first->GetWeakPtr();
  weak = second->GetWeakPtr();
  first.reset();
  EXPECT_EQ(weak.get(), second.get());
  const WeakPtr<Owner>& same = weak;
  weak = same;
  EXPECT_EQ(weak.get(), second.get());
  weak = WeakPtr<Owner>();
  EXPECT_EQ(weak.get(), nullptr);
}

TEST(WeakPtrTest, InvalidatingKillsOnlyTheReferencesGivenOutSoFar) {
  Owner owner;
  owner.InvalidateWeakPtrs();
  const WeakPtr<Owner> before = owner.GetWeakPtr();
  owner.InvalidateWeakPtrs();
  const WeakPtr<Owner> after = owner.GetWeakPtr();
  EXPECT_EQ(before.get(), nullptr);
  EXPECT_EQ(after.get(), &owner);
}

TEST(BindWeakTest, CallsTheMethodWithTheArgumentsOfTheCall) {
  Owner owner;
  const auto bound = BindWeak(owner.GetWeakPtr(), &Owner::Take);
  bound(7, std::make_unique<std::string>("moved through"));
  EXPECT_EQ(owner.number_, 7);
  EXPECT_EQ(owner.text_, "moved through");

  int number = 1;
  BindWeak(owner.GetWeakPtr(), &Owner::Increment)(number);
  EXPECT_EQ(number, 2);
}

TEST(BindWeakTest, DoesNothingOnceTheReferentIsGone) {
  auto owner = std::make_unique<Owner>();
  const auto bound = BindWeak(owner->GetWeakPtr(), &Owner::Increment);
  owner.reset();
  int number = 1;
  bound(number);
  EXPECT_EQ(number, 1);
}

// Owns the callable that destroys it.
struct SelfDestroyer {
  explicit SelfDestroyer(std::unique_ptr<SelfDestroyer>* self)
      : self_(self), callback_(BindWeak(weak_ptr_factory_.GetWeakPtr(), &SelfDestroyer::Destroy)) {}
  void Destroy() { self_->reset(); }

  std::unique_ptr<SelfDestroyer>* self_;
  WeakPtrFactory<SelfDestroyer> weak_ptr_factory_{this};
  std::function<void()> callback_;
};

TEST(BindWeakTest, TheMethodMayDestroyItsObject) {
  std::unique_ptr<SelfDestroyer> object;
  object = std::make_unique<SelfDestroyer>(&object);
  const std::function<void()> callback = object->callback_;
  callback();
  EXPECT_EQ(object, nullptr);
  callback();
}

}  // namespace
}  // namespace orvane::platform
