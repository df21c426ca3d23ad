#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>

#include "internal/qor_internal.h"

namespace {

constexpr double kTolerance = 9.999999747378752e-6;

struct Result {
  unsigned int Numerator;
  unsigned int Denominator;
  bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Result& r) { return out << r.Numerator << "/" << r.Denominator; }

Result FractionOf(double x) {
  Result result{12345, 54321};
  Qor_Internal_Math_Float64_Decimal2Fraction(&result.Numerator, &result.Denominator, x);
  return result;
}

long double DistanceOf(long double numerator, long double denominator, double x) {
  return std::fabs(numerator / denominator - static_cast<long double>(x));
}

// The least distance from x of all fractions with denominators up to `greatest`, by trying each.
long double LeastDistance(double x, unsigned int greatest) {
  long double least = std::numeric_limits<long double>::infinity();
  for (unsigned int k = 1; k <= greatest; ++k) {
    least = std::fmin(least, DistanceOf(std::round(static_cast<long double>(x) * k), k, x));
  }
  return least;
}

// The first convergent within the tolerance, by trying each denominator: those that take k * x nearer to a whole
// number than every smaller k are the denominators of the convergents.
Result FirstConvergent(double x) {
  long double nearest = std::numeric_limits<long double>::infinity();
  for (unsigned int k = 1;; ++k) {
    const long double multiple = static_cast<long double>(x) * k;
    const long double whole = std::round(multiple);
    if (std::fabs(multiple - whole) >= nearest) continue;
    nearest = std::fabs(multiple - whole);
    if (DistanceOf(whole, k, x) <= kTolerance) return {static_cast<unsigned int>(whole), k};
  }
}

// `count` numbers between `low` and `high`, the same ones each time.
template <class Check>
void ForRandom(int count, double low, double high, Check check) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> numbers(low, high);
  for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) {
    const double x = numbers(random);
    SCOPED_TRACE(testing::Message() << std::hexfloat << x);
    check(x, FractionOf(x));
  }
}

// Brute force finds nothing nearer with a denominator as small or smaller.
void ExpectBestApproximation(double x, Result result) {
  EXPECT_EQ(std::gcd(result.Numerator, result.Denominator), 1u);
  EXPECT_LE(DistanceOf(result.Numerator, result.Denominator, x), LeastDistance(x, result.Denominator) + 1e-15L);
}

void ExpectBestApproximationWithinTolerance(double x, Result result) {
  EXPECT_LE(DistanceOf(result.Numerator, result.Denominator, x), kTolerance);
  ExpectBestApproximation(x, result);
}

}  // namespace

struct FractionCase {
  double X;
  Result Expected;
};

TEST(Fraction, OfKnownNumbers) {
  const FractionCase cases[] = {
      {0.5, {1, 2}},
      {0.25, {1, 4}},
      {1.0 / 3, {1, 3}},
      {2.0, {2, 1}},
      {0.1, {1, 10}},
      {0.0625, {1, 16}},
      {1e-3, {1, 1000}},
      {12.375, {99, 8}},
      // pi is 3 + 1/(7 + 1/(15 + 1/(1 + ...))): 3/1, 22/7, 333/106, and 355/113 is the first within the tolerance
      {3.14159265358979, {355, 113}},
      // the golden ratio's convergents are quotients of Fibonacci numbers; 1/(F(n) F(n+1)) falls below 1e-5 here
      {1.61803398874989, {377, 233}},
      {4294967295.0, {4294967295u, 1}},
  };
  for (const auto& c : cases) EXPECT_EQ(FractionOf(c.X), c.Expected) << c.X;
}

TEST(Fraction, IsTheBestApproximationByBruteForce) {
  ForRandom(2000, 0.00001, 1, ExpectBestApproximationWithinTolerance);
  ForRandom(500, 0.00001, 0.002, ExpectBestApproximationWithinTolerance);
  ForRandom(2000, 1, 1000, ExpectBestApproximationWithinTolerance);
  ForRandom(2000, 1000, 40000, ExpectBestApproximationWithinTolerance);
}

// Rounded decimals lie so near to a fraction that the expansion runs into the end of double precision.
TEST(Fraction, OfADecimalIsTheBestApproximation) {
  for (const unsigned int unit : {1000u, 1200u, 2000u}) {
    for (unsigned int n = 1; n <= unit && !HasFailure(); ++n) {
      SCOPED_TRACE(testing::Message() << n << " / " << unit);
      const double x = static_cast<double>(n) / unit;
      ExpectBestApproximationWithinTolerance(x, FractionOf(x));
    }
  }
}

// Here the numerator may run out of room before the fraction is near enough.
TEST(Fraction, OfALargeNumberIsTheBestApproximationToo) {
  ForRandom(2000, 40000, 1e6, ExpectBestApproximation);
  ForRandom(2000, 1e6, 4294967295.0, ExpectBestApproximation);
}

TEST(Fraction, IsTheFirstConvergentWithinTheTolerance) {
  ForRandom(5000, 0.0001, 1, [](double x, Result result) { EXPECT_EQ(result, FirstConvergent(x)); });
  ForRandom(5000, 1, 40000, [](double x, Result result) { EXPECT_EQ(result, FirstConvergent(x)); });
}

// Two fractions with denominators up to 316 lie at least 1/316^2 apart, which is more than the tolerance.
TEST(Fraction, GivesEveryFractionWithASmallDenominatorBack) {
  for (unsigned int k = 1; k <= 316; ++k) {
    for (unsigned int h = 1; h <= 3 * k; ++h) {
      if (std::gcd(h, k) != 1) continue;
      ASSERT_EQ(FractionOf(static_cast<double>(h) / k), (Result{h, k}));
    }
  }
}

TEST(Fraction, UpToTheToleranceIsZero) {
  EXPECT_EQ(FractionOf(0.0), (Result{0, 1}));
  EXPECT_EQ(FractionOf(-0.0), (Result{0, 1}));
  EXPECT_EQ(FractionOf(1e-300), (Result{0, 1}));
  EXPECT_EQ(FractionOf(kTolerance), (Result{0, 1}));
  EXPECT_EQ(FractionOf(-kTolerance), (Result{0, 1}));
}

TEST(Fraction, JustAboveTheToleranceIsNotZero) {
  // 1 / x is 100000.0025..., and its floor the first denominator.
  EXPECT_EQ(FractionOf(std::nextafter(kTolerance, 1)), (Result{1, 100000}));
}

TEST(Fraction, TooLargeIsZero) {
  EXPECT_EQ(FractionOf(4294967296.0), (Result{0, 1}));
  EXPECT_EQ(FractionOf(1e300), (Result{0, 1}));
  EXPECT_EQ(FractionOf(std::numeric_limits<double>::infinity()), (Result{0, 1}));
  EXPECT_EQ(FractionOf(-std::numeric_limits<double>::infinity()), (Result{0, 1}));
}

TEST(Fraction, OfNoNumberIsZero) { EXPECT_EQ(FractionOf(std::nan("")), (Result{0, 1})); }

TEST(Fraction, StopsBeforeANumeratorThatDoesNotFit) {
  EXPECT_EQ(FractionOf(4294967295.5), (Result{4294967295u, 1}));
  EXPECT_EQ(FractionOf(2147483647.5), (Result{4294967295u, 2}));  // this one just fits
  EXPECT_EQ(FractionOf(2147483648.5), (Result{2147483648u, 1}));
}

TEST(Fraction, OfANegativeNumberHasTheNegatedNumerator) {
  EXPECT_EQ(FractionOf(-0.5), (Result{static_cast<unsigned int>(-1), 2}));
  EXPECT_EQ(FractionOf(-3.14159265358979), (Result{static_cast<unsigned int>(-355), 113}));
  ForRandom(500, -1000, -0.001, [](double x, Result result) {
    EXPECT_LE(DistanceOf(static_cast<std::int32_t>(result.Numerator), result.Denominator, x), kTolerance);
    const Result positive = FractionOf(-x);
    EXPECT_EQ(result, (Result{0u - positive.Numerator, positive.Denominator}));
  });
}

TEST(Fraction, OfANegativeNumberStaysWithinThirtyTwoBits) {
  EXPECT_EQ(FractionOf(-2147483648.0), (Result{0x80000000u, 1}));
  EXPECT_EQ(FractionOf(-2147483649.0), (Result{0, 1}));
  EXPECT_EQ(FractionOf(-1073741824.5), (Result{static_cast<unsigned int>(-1073741824), 1}));
}

// Every bit pattern: no trap, no denominator of 0, and within the tolerance where the numbers are small enough.
TEST(Fraction, OfAnyBitPatternHasADenominator) {
  std::mt19937_64 random(11);
  for (int i = 0; i < 100000; ++i) {
    const std::uint64_t bits = random();
    double x;
    static_assert(sizeof x == sizeof bits);
    __builtin_memcpy(&x, &bits, sizeof x);
    ASSERT_GE(FractionOf(x).Denominator, 1u) << std::hexfloat << x;
  }
}

TEST(Fraction, WritesNothingIfAPointerIsNull) {
  unsigned int untouched = 7;
  Qor_Internal_Math_Float64_Decimal2Fraction(nullptr, &untouched, 0.5);
  Qor_Internal_Math_Float64_Decimal2Fraction(&untouched, nullptr, 0.5);
  Qor_Internal_Math_Float64_Decimal2Fraction(nullptr, nullptr, 0.5);
  EXPECT_EQ(untouched, 7u);
}
