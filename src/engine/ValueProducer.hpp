#pragma once

#include <memory>

#include "engine/ValuePort.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// What a tool that outputs a number fulfils.
class ValueProducer {
public:
    virtual ~ValueProducer() = default;

    /// The present number: what a new cable starts with. Any thread.
    virtual double outputValue() const = 0;

    /// Main thread (the engine): where new numbers go; may be empty.
    void setOnValueChanged(std::unique_ptr<const ValueDelivery> delivery) {
        onValueChanged.publish(std::move(delivery));
    }

protected:
    /// Hands a number to whoever is cabled. Any thread, not under a lock of the tool's own.
    void fire(double value) const {
        if (onValueChanged.isEmpty()) return;
        onValueChanged.read([value](const ValueDelivery* delivery) {
            if (delivery) delivery->deliver(value);
        });
    }

private:
    Published<ValueDelivery> onValueChanged;
};

/// What a tool that calculates with inputs fulfils. `receive` runs on the producer's thread, so that a chain of
/// calculations settles at once. An unknown port is ignored.
class ValueReceiver {
public:
    virtual ~ValueReceiver() = default;
    virtual void receive(double value, std::string_view portID) = 0;
};

}  // namespace varnolex
