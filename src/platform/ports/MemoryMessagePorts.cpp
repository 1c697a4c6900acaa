#include "platform/ports/MemoryMessagePorts.hpp"

#include <deque>

#include "platform/Runtime.hpp"

namespace varnolex {

/// What lies under one name as long as its port is open.
class MemoryMessagePorts::Box : public std::enable_shared_from_this<Box> {
public:
    explicit Box(PortHandler portHandler) : handler(std::move(portHandler)) {}

    void post(std::int32_t id, std::span<const std::uint8_t> data) {
        letters.push_back({id, {data.begin(), data.end()}});
        queue->async([weakSelf = weak_from_this()] {
            if (const auto self = weakSelf.lock()) self->deliver();
        });
    }

    PortBytes answer(std::int32_t id, std::span<const std::uint8_t> data) {
        deliver();
        return handler(id, data).value_or(PortBytes());
    }

private:
    struct Letter {
        std::int32_t id;
        PortBytes data;
    };

    void deliver() {
        while (!letters.empty()) {
            const Letter letter = std::move(letters.front());
            letters.pop_front();
            handler(letter.id, letter.data);
        }
    }

    PortHandler handler;
    std::deque<Letter> letters;
    std::shared_ptr<Queue> queue = Runtime::current().makeQueue("com.varnolex.port", QueuePriority::normal);
};

class MemoryMessagePorts::Local final : public LocalMessagePort {
public:
    Local(std::string portName, std::shared_ptr<Box> portBox) : ownName(std::move(portName)), box(std::move(portBox)) {}
    const std::string& name() const override { return ownName; }

private:
    std::string ownName;
    std::shared_ptr<Box> box;
};

class MemoryMessagePorts::Remote final : public RemoteMessagePort {
public:
    explicit Remote(std::weak_ptr<Box> portBox) : weakBox(std::move(portBox)) {}

    PortOutcome send(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds) override {
        if (data.size() > portMessageLimit) return PortOutcome::tooLarge;
        const auto box = weakBox.lock();
        if (!box) return PortOutcome::gone;
        box->post(id, data);
        return PortOutcome::success;
    }

    Answer request(std::int32_t id, std::span<const std::uint8_t> data, Nanoseconds, Nanoseconds) override {
        if (data.size() > portMessageLimit) return {PortOutcome::tooLarge, {}};
        const auto box = weakBox.lock();
        if (!box) return {PortOutcome::gone, {}};
        return {PortOutcome::success, box->answer(id, data)};
    }

    void flush() override {}
    bool isAlive() override { return !weakBox.expired(); }

private:
    std::weak_ptr<Box> weakBox;
};

MemoryMessagePorts::MemoryMessagePorts() = default;
MemoryMessagePorts::~MemoryMessagePorts() = default;

std::unique_ptr<LocalMessagePort> MemoryMessagePorts::open(const std::string& name, PortHandler handler,
                                                           std::string& failure) {
    if (!isName(name) || !boxes[name].expired()) {
        failure = name + ": another program has this port";
        return nullptr;
    }
    const auto box = std::make_shared<Box>(std::move(handler));
    boxes[name] = box;
    return std::make_unique<Local>(name, box);
}

std::unique_ptr<RemoteMessagePort> MemoryMessagePorts::find(const std::string& name) {
    const auto found = boxes.find(name);
    if (found == boxes.end() || found->second.expired()) return nullptr;
    return std::make_unique<Remote>(found->second);
}

}  // namespace varnolex
