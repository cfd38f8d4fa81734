#pragma once

#include <optional>
#include <vector>

namespace measure {

// What follows from the periods of several sets alone.

// q = a / denominator with a coprime to it; inverse · a = 1 modulo the denominator.
struct Ratio {
    int denominator = 1;
    int inverse = 0;
};
std::optional<Ratio> FindRatio(double q, int denominator);

// The periods of the finest set after which all sets look the same again: they tell orders modulo that number only. 0
// when that does not happen within twice the length. `periods` has the finest set first.
int FindRepeat(const std::vector<double>& periods, double length);

// Whole factors with which the phases of all sets add up to the same value everywhere, as 4 φ1 - φ4 of one and four
// periods. A factor of 0 leaves a set out.
struct Relation {
    std::vector<int> factors;
    bool isShortest = true;  // of those that hold some set
};
// For every set the shortest relation that holds it, as far as there is one; without repetitions. Frames rotated by a
// step, of as many steps as given per set, move a phase by a part of a period, and a factor that has a divisor in
// common with their number may hide that: relations with factors that hide as little as possible follow.
std::vector<Relation> FindRelations(const std::vector<double>& periods, double length,
                                    const std::vector<int>& steps = {});

}  // namespace measure
