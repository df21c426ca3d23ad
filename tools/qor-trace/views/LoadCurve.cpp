#include "views/LoadCurve.h"

#include <algorithm>
#include <cmath>

namespace client {

namespace {

/// Calls `use` with each part of a time: where it begins, and how long it is. None reaches beyond a multiple of a width, which may
/// grow on the way.
template <class WidthNow, class Use>
void ForEachPart(unsigned long start, unsigned long length, WidthNow widthNow, Use use) {
  while (length > 0) {
    const unsigned long width = widthNow();
    const unsigned long part = std::min(length, width - start % width);
    use(start, part);
    start += part;
    length -= part;
  }
}

}  // namespace

void LoadCurve::Add(unsigned long start, double busy) {
  if (!(busy > 0)) return;
  const unsigned long room = ~0ul - start;
  const unsigned long length = busy < static_cast<double>(room) ? static_cast<unsigned long>(std::llround(busy)) : room;
  LatestEnd = std::max(LatestEnd, start + length);
  // At the far end first: bins become as wide as they will have to be before there are many parts.
  (void)Curve.At(start);
  (void)Curve.At(start + length);
  ForEachPart(
      start, length, [&] { return Curve.Width(); },
      [&](unsigned long begin, unsigned long part) { Curve.At(begin).Busy += static_cast<double>(part); });
  AddToWindow(start, length);
}

void LoadCurve::AddToWindow(unsigned long start, unsigned long busy) {
  ForEachPart(
      start, busy, [] { return kWindow; },
      [&](unsigned long begin, unsigned long part) {
        const unsigned long window = begin - begin % kWindow;
        if (window < Window.Begin) return;
        if (window > Window.Begin) {
          CloseWindow();
          Window = {window, 0};
        }
        Window.Busy += static_cast<double>(part);
      });
}

void LoadCurve::CloseWindow() {
  if (Window.Busy <= 0) return;
  LoadCurve::Bin& bin = Curve.At(Window.Begin);
  bin.Peak = std::max(bin.Peak, Window.Busy);
  if (!Busiest || Window.Busy > Busiest->Busy) Busiest = Window;
}

}  // namespace client
