// The goals of MDF files, of which goals_bench prints the rows.
#pragma once

#include "Measure.h"

namespace bench {

void MdfGoals(const GoalTable& table, bool quick);

}  // namespace bench
