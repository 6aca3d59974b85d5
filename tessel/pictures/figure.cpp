#include "tessel/pictures/figure.h"

namespace tessel {

bool Place::overlaps(const Place& other) const {
  // Neighbours share an edge, whose position each computes in its own way.
  constexpr double kTouch = 1e-9;
  return left + kTouch < other.left + other.width && other.left + kTouch < left + width &&
         bottom + kTouch < other.bottom + other.height && other.bottom + kTouch < bottom + height;
}

void Axes::prepareForLines() {
  if (isHeld) return;
  Axes fresh;
  fresh.place = place;
  *this = std::move(fresh);
}

Axes& Figure::current() {
  if (axes.empty()) selectPlace({});
  return axes[currentAxes];
}

void Figure::selectPlace(const Place& place) {
  std::erase_if(axes, [&](const Axes& a) { return a.place != place && a.place.overlaps(place); });
  for (currentAxes = 0; currentAxes < axes.size(); ++currentAxes)
    if (axes[currentAxes].place == place) return;
  axes.emplace_back().place = place;
}

Figure& Figures::select(int number) {
  Figure& figure = figures_[number];
  figure.number = current_ = number;
  return figure;
}

Figure& Figures::add() {
  int number = 1;
  while (has(number)) ++number;
  return select(number);
}

Figure& Figures::current() { return has(current_) ? figures_.at(current_) : add(); }

void Figures::close(int number) {
  figures_.erase(number);
  if (number == current_) current_ = figures_.empty() ? 0 : figures_.rbegin()->first;
}

void Figures::closeAll() {
  figures_.clear();
  current_ = 0;
}

Figures& figures() {
  static Figures all;
  return all;
}

}  // namespace tessel
