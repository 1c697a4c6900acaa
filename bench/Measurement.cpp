#include "bench/Measurement.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

namespace varnolex::bench {

namespace {

double processorSeconds(int whose) {
    rusage used{};
    getrusage(whose, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double processorSeconds() { return processorSeconds(RUSAGE_SELF) + processorSeconds(RUSAGE_CHILDREN); }

}  // namespace

double secondsOf(const std::function<void()>& work) {
    const double start = processorSeconds();
    work();
    return processorSeconds() - start;
}

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<double> mediansOf(std::size_t passes, const std::vector<std::function<void()>>& works) {
    std::vector<std::vector<double>> seconds(works.size());
    for (const auto& work : works) work();
    for (std::size_t pass = 0; pass < passes; ++pass)
        for (std::size_t index = 0; index < works.size(); ++index) seconds[index].push_back(secondsOf(works[index]));
    std::vector<double> medians;
    for (auto& each : seconds) medians.push_back(medianOf(std::move(each)));
    return medians;
}

Medians differenceOf(std::size_t passes, const std::function<void()>& less, const std::function<void()>& more,
                     const std::function<void()>& floor) {
    std::vector<double> differences;
    std::vector<double> floors;
    less();
    more();
    for (std::size_t pass = 0; pass < passes; ++pass) {
        const double base = secondsOf(less);
        differences.push_back(secondsOf(more) - base);
        floors.push_back(secondsOf(floor));
    }
    return {medianOf(std::move(differences)), medianOf(std::move(floors))};
}

void printTable(const std::vector<Figure>& figures) {
    std::puts("Processor time, of this process and those that it starts; waits for the disk are not in it.");
    std::printf("%-44s %10s %-9s %-30s %9s %7s %12s  %-4s  %s\n", "figure", "measured", "unit", "floor", "", "ratio",
                "budget", "", "what it means");
    for (const Figure& figure : figures) {
        const bool isRatio = figure.limit == Figure::Limit::ratio;
        const std::string unit = isRatio ? "x" : " " + figure.unit;
        char budget[48];
        std::snprintf(budget, sizeof budget, "%.4g%s", figure.budget, unit.c_str());
        std::printf("%-44s %10.4g %-9s %-30s %9.4g %7.2f %12s  %-4s  %s\n", figure.name.c_str(), figure.value,
                    figure.unit.c_str(), figure.floorName.c_str(), figure.floor, figure.ratio(), budget,
                    figure.isWithinBudget() ? "ok" : "OVER", figure.meaning.c_str());
    }
}

}  // namespace varnolex::bench
