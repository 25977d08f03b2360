// The numbers that names on disk depend on.
#include <gtest/gtest.h>

#include "depot/hash.h"

using sprig::nearestPrimeBelow;

namespace {

bool isPrime(uint32_t number) {
  for (uint32_t divisor = 2; divisor * divisor <= number; ++divisor) {
    if (number % divisor == 0) {
      return false;
    }
  }
  return number > 1;
}

} // namespace

TEST(HashConstants, AreTheLargestPrimesUpToThePowersOfTwo) {
  uint32_t power = 2;
  for (const uint32_t prime : sprig::PowerOf2Primes) {
    uint32_t largest = power;
    while (!isPrime(largest)) {
      --largest;
    }
    EXPECT_EQ(prime, largest) << power;
    power *= 2;
  }
  EXPECT_EQ(power, 1U << 17);
}

TEST(HashConstants, GiveTwoHundredAndFiftyOneBuckets) {
  EXPECT_EQ(sprig::TableSize, 256U);
  EXPECT_EQ(sprig::NearestPrime, 251U);
}

TEST(HashConstants, GiveThePrimeThatIsLessThanASize) {
  struct Case {
    uint32_t size;
    uint32_t prime;
  };
  const Case cases[] = {
      {0, 0},
      {2, 0},
      {3, 0},
      {4, 3},
      {7, 3},
      {8, 7},
      {251, 127},
      {252, 251},
      {65521, 32749},
      {65522, 65521},
      {4294967295, 65521},
  };
  for (const Case &example : cases) {
    EXPECT_EQ(nearestPrimeBelow(example.size), example.prime) << example.size;
  }
}
