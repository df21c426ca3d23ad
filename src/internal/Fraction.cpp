// The approximation of a number by a fraction.
#include <cmath>

#include "internal/qor_internal.h"

namespace {

constexpr double kTolerance = 0.00001f;  // 9.999999747378752e-6
constexpr double kMaxUnsigned = 4294967295.0;
constexpr double kMaxNegated = 2147483648.0;

struct Fraction {
  double Numerator;  // whole numbers; exact, since products stay far below 2^53
  double Denominator;
};

bool IsNear(const Fraction& fraction, double x) {
  return std::fabs(fraction.Numerator / fraction.Denominator - x) <= kTolerance;
}

// The first convergent of x's continued fraction within the tolerance, or the last one that fits; x >= 0 or NaN.
Fraction Approximate(double x, double maxNumerator) {
  if (!(x > kTolerance) || std::floor(x) > maxNumerator) return {0, 1};
  Fraction previous{1, 0};
  Fraction current{std::floor(x), 1};
  double remainder = x - current.Numerator;
  while (!IsNear(current, x) && remainder > kTolerance) {
    const double reciprocal = 1 / remainder;
    const double quotient = std::floor(reciprocal);
    const Fraction next{quotient * current.Numerator + previous.Numerator,
                        quotient * current.Denominator + previous.Denominator};
    if (next.Numerator > maxNumerator || next.Denominator > kMaxUnsigned) break;
    previous = current;
    current = next;
    remainder = reciprocal - quotient;
  }
  return current;
}

}  // namespace

void Qor_Internal_Math_Float64_Decimal2Fraction(unsigned int* numerator, unsigned int* denominator, double x) {
  if (numerator == nullptr || denominator == nullptr) return;
  const bool isNegative = x < 0;
  const Fraction fraction = Approximate(std::fabs(x), isNegative ? kMaxNegated : kMaxUnsigned);
  const auto magnitude = static_cast<unsigned int>(fraction.Numerator);
  *numerator = isNegative ? 0u - magnitude : magnitude;
  *denominator = static_cast<unsigned int>(fraction.Denominator);
}
