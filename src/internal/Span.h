// A view of objects that lie one after the other, for the installed headers: they are used by programs in C++17, which has no
// std::span.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

/// What std::span is in C++20, as far as it is needed here: a pointer and a length, cheap to copy. It owns nothing; what it looks
/// at must outlive it. Nothing is checked: positions and counts are within size(). Converts from arrays and from containers that
/// have data() and size(), std::span among them, and to std::span.
template <class T>
class Span {
 public:
  using element_type = T;
  using value_type = std::remove_cv_t<T>;
  using iterator = T*;

  constexpr Span() = default;
  constexpr Span(T* first, size_t count) : First(first), Count(count) {}
  template <size_t kCount>
  constexpr Span(T (&array)[kCount]) : Span(array, kCount) {}
  /// Its elements may get const by it, and nothing else: a Span of a base class would step by the wrong size.
  template <class Container, class Element = std::remove_pointer_t<decltype(std::declval<Container&>().data())>,
            class = decltype(std::declval<Container&>().size()),
            class = std::enable_if_t<std::is_convertible_v<Element (*)[], T (*)[]>>>
  constexpr Span(Container&& container) : Span(container.data(), container.size()) {}

  [[nodiscard]] constexpr T* data() const { return First; }
  [[nodiscard]] constexpr size_t size() const { return Count; }
  [[nodiscard]] constexpr size_t size_bytes() const { return Count * sizeof(T); }
  [[nodiscard]] constexpr bool empty() const { return Count == 0; }
  [[nodiscard]] constexpr T* begin() const { return First; }
  [[nodiscard]] constexpr T* end() const { return First + Count; }
  [[nodiscard]] constexpr T& operator[](size_t position) const { return First[position]; }
  [[nodiscard]] constexpr T& front() const { return First[0]; }
  [[nodiscard]] constexpr T& back() const { return First[Count - 1]; }

  [[nodiscard]] constexpr Span first(size_t count) const { return {First, count}; }
  /// From a position to the end; empty at the end.
  [[nodiscard]] constexpr Span subspan(size_t position) const { return {First + position, Count - position}; }
  [[nodiscard]] constexpr Span subspan(size_t position, size_t count) const { return {First + position, count}; }

 private:
  T* First = nullptr;
  size_t Count = 0;
};
