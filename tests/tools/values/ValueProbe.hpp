#pragma once

#include <gtest/gtest.h>

#include "engine/ValueProducer.hpp"
#include "support/ChainProbe.hpp"

namespace varnolex::testing {

/// A value tool with an ear on its cable.
class ValueProbe : public ChainProbe {
public:
    explicit ValueProbe(PipeToolType type) : ChainProbe(type) {
        tool->valueProducer()->setOnValueChanged(std::make_unique<Ear>(fired));
    }
    ~ValueProbe() { tool->valueProducer()->setOnValueChanged(nullptr); }

    void receive(double value, std::string_view portID) { tool->valueReceiver()->receive(value, portID); }
    double output() const { return tool->valueProducer()->outputValue(); }

    /// What was fired since the last call.
    std::vector<double> firedNow() { return std::exchange(fired, {}); }

    std::vector<double> fired;

private:
    struct Ear final : ValueDelivery {
        explicit Ear(std::vector<double>& list) : into(list) {}
        void deliver(double value) const noexcept override { into.push_back(value); }
        std::vector<double>& into;
    };
};

}  // namespace varnolex::testing
