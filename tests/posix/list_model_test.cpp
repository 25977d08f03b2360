// The list against a simple model: random operations, after each of which both must agree.
#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/pal_error.h"

namespace {

// What a list is, without how it is done: elements newest first, and descriptors to hand out.
class Model {
public:
  Model(int32_t count, int32_t increment) : capacity_(count), increment_(increment) {}

  int32_t add(PalListValue value) {
    int32_t descriptor = unused_;
    if (!removed_.empty()) {
      descriptor = removed_.back();
      removed_.pop_back();
    } else if (unused_ < capacity_ || increment_ > 0) {
      capacity_ += unused_ < capacity_ ? 0 : increment_;
      ++unused_;
    } else {
      return -1;
    }
    elements_.emplace_front(descriptor, value);
    return descriptor;
  }

  int remove(int32_t descriptor) {
    const auto found = find(descriptor);
    if (found == elements_.end()) {
      return -1;
    }
    elements_.erase(found);
    removed_.push_back(descriptor);
    return 0;
  }

  PalListValue access(int32_t descriptor) {
    const auto found = find(descriptor);
    return found == elements_.end() ? 0 : found->second;
  }

  int32_t capacity() const { return capacity_; }
  const auto &elements() const { return elements_; }

private:
  using Elements = std::list<std::pair<int32_t, PalListValue>>;

  Elements::iterator find(int32_t descriptor) {
    return std::find_if(elements_.begin(), elements_.end(),
                        [=](const auto &element) { return element.first == descriptor; });
  }

  Elements elements_;
  std::vector<int32_t> removed_;
  int32_t unused_ = 0;
  int32_t capacity_;
  int32_t increment_;
};

void expectSameElements(PalList1 *list, const Model &model) {
  PalList1Iterator iterator{};
  ASSERT_EQ(PalList1IteratorCreate(list, &iterator), (PalError{PAL_OK, 0, 4}));
  int32_t descriptor = 0;
  PalListValue value = 0;
  for (const auto &[expectedDescriptor, expectedValue] : model.elements()) {
    ASSERT_EQ(iterator.next(&iterator.state, &descriptor, &value), (PalError{PAL_OK, 0, 5}));
    ASSERT_EQ(descriptor, expectedDescriptor);
    ASSERT_EQ(value, expectedValue);
  }
  ASSERT_EQ(iterator.next(&iterator.state, &descriptor, &value), (PalError{PAL_END_OF_LIST, 0, 4}));
  iterator.end(&iterator.state);
}

struct Shape {
  int32_t count, increment;
  unsigned seed;
};

class ListModel : public testing::TestWithParam<Shape> {};

} // namespace

TEST_P(ListModel, AgreesOverTenThousandRandomSteps) {
  const auto [count, increment, seed] = GetParam();
  std::mt19937 random(seed);
  const auto below = [&](int32_t bound) {
    return static_cast<int32_t>(random() % static_cast<uint32_t>(bound));
  };
  PalList1 list = nullptr;
  ASSERT_EQ(PalList1Create(&list, count, increment), 0);
  Model model(count, increment);

  for (int step = 0; step < 10000 && !HasFatalFailure(); ++step) {
    const int32_t descriptor = below(model.capacity() + 4) - 2; // also outside, and at the capacity
    const bool isGrowing = step / 500 % 2 == 0;
    switch (const int32_t choice = below(10)) {
    default:
      if ((choice < 6) == isGrowing) {
        const PalListValue value = below(1000) + 1;
        ASSERT_EQ(PalList1Add(&list, value), model.add(value));
      } else {
        ASSERT_EQ(PalList1Remove(&list, descriptor), model.remove(descriptor));
      }
      break;
    case 8:
      ASSERT_EQ(PalList1Access(&list, descriptor), model.access(descriptor));
      break;
    case 9:
      if (step % 7 == 0) {
        expectSameElements(&list, model);
      }
      break;
    }
    ASSERT_EQ(PalList1GetSize(&list), model.capacity());
  }
  expectSameElements(&list, model);
  PalList1Destroy(&list);
}

INSTANTIATE_TEST_SUITE_P(Shapes, ListModel,
                         testing::Values(Shape{256, 256, 1}, Shape{0, 1, 2}, Shape{2, 2, 3},
                                         Shape{1, 7, 4}, Shape{16, 0, 5}, Shape{3, 5, 6},
                                         Shape{0, 0, 7}),
                         [](const auto &info) {
                           return "Count" + std::to_string(info.param.count) + "Increment" +
                                  std::to_string(info.param.increment);
                         });
