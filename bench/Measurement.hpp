#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace varnolex::bench {

/// How long the run may take.
struct Effort {
    bool isQuick = false;
    /// A soak of full length.
    bool isLong = false;
    /// Times that each pair of subject and floor is measured.
    std::size_t passes = 15;
    /// Messages in one pass of a figure that takes nanoseconds.
    std::size_t messages = 200'000;
    /// Events in the files of the long figures.
    std::size_t events = 1'000'000;

    static Effort full() { return {}; }
    static Effort quick() { return {true, false, 5, 20'000, 100'000}; }
};

/// One line of the table.
struct Figure {
    /// What a budget limits.
    enum class Limit {
        /// The ratio of the subject to the floor.
        ratio,
        /// The subject itself, in the figure's unit.
        value,
    };

    std::string name;
    double value = 0;
    std::string unit;
    std::string floorName;
    double floor = 0;
    Limit limit = Limit::ratio;
    double budget = 0;
    /// What it means for who plays.
    std::string meaning;

    double ratio() const { return floor > 0 ? value / floor : 0; }
    bool isWithinBudget() const { return (limit == Limit::ratio ? ratio() : value) <= budget; }
};

/// Medians over the passes, in the seconds of one run of each.
struct Medians {
    double subject = 0;
    double floor = 0;
};

/// The processor seconds that one call takes, in this process and in those that it waits for: what others do on the
/// machine weighs less in them than in the time on the wall. Waits, as for the disk, are not in it.
double secondsOf(const std::function<void()>& work);

double medianOf(std::vector<double> values);

/// Runs all pieces of work in turn, pass by pass, so that a noisy moment meets all of them alike, after one pass that
/// doesn't count. The median seconds of each, in order.
std::vector<double> mediansOf(std::size_t passes, const std::vector<std::function<void()>>& works);

/// The same for the difference between two subjects, taken within each pass: what the second costs more.
Medians differenceOf(std::size_t passes, const std::function<void()>& less, const std::function<void()>& more,
                     const std::function<void()>& floor);

/// Keeps the compiler from leaving out what nobody reads.
template <class Value>
void keep(const Value& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// Prints the lines as one table on standard output.
void printTable(const std::vector<Figure>& figures);

}  // namespace varnolex::bench
