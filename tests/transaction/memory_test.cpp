/* Allocations that fail, each in turn. */
#include <cstdlib>
#include <new>

#include "gateway.hpp"
#include "l3_advance/platform.h"

namespace {

long countdown = -1; /* the allocation that fails; none below zero */
long allocations = 0;

void* allocate(std::size_t size) {
  ++allocations;
  if (countdown >= 0 && countdown-- == 0) {
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

class Memory : public Gateway {};

}  // namespace

void* operator new(std::size_t size) {
  if (void* const memory = allocate(size); memory != nullptr) {
    return memory;
  }
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
// GCC takes malloc() in operator new for a mismatch, where it inlines only one of the two.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

// A platform that allocates nothing: a host's own failures are not the library's to catch.
extern "C" {

static uint8_t vpn_state = 0;

int32_t grm_l3_advance_get_vpn_pass_through(uint8_t* state) {
  *state = vpn_state;
  return 0;
}

int32_t grm_l3_advance_set_vpn_pass_through(uint8_t state) {
  vpn_state = state;
  return 0;
}

int32_t gpon_l3_control_vpn_pass_through(int32_t, uint8_t) {
  return 0;
}

}  // extern "C"

TEST_F(Memory, AnyAllocationMayFail) {
  const char* sample = std::getenv("L3_TEST_FULL");
  const long step = sample != nullptr ? 1 : 23;
  const State before = state();
  int begun = 0;
  int committed = 0;
  for (long n = 0;; n += step) {
    allocations = 0;
    countdown = n;
    l3_transaction_report report = {};
    int result = l3_transaction_begin(nullptr);
    if (result == L3_TRANSACTION_OK) {
      ++begun;
      set_filters(2);
      result = l3_transaction_commit(&report);
    }
    const bool has_failed = countdown < 0;
    countdown = -1;
    if (result == L3_TRANSACTION_OK) {
      ++committed;
      EXPECT_NE(changed_since(before), "") << n;
      if (!has_failed) {
        break;
      }
      // An allocation that did not matter: back to the start.
      ASSERT_EQ(l3_transaction_begin(nullptr), L3_TRANSACTION_OK);
      set_filters(1);
      ASSERT_EQ(l3_transaction_commit(nullptr), L3_TRANSACTION_OK);
    } else {
      ASSERT_TRUE(result == L3_TRANSACTION_SYSTEM || result == L3_TRANSACTION_REFUSED)
          << n << ": " << result << l3_transaction_error();
    }
    ASSERT_EQ(changed_since(before), "") << n << ": " << l3_transaction_error();
    ASSERT_LT(n, 20000);
  }
  EXPECT_GT(begun, committed);
}
