#include "platform/keys/KeyService.hpp"

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {
namespace {

SharedValue<KeyService*> installed{nullptr};

}  // namespace

class KeyService::Tap final : public KeyTap {
public:
    Tap(KeyService& owner, std::shared_ptr<const KeyListener> ownListener)
        : service(owner), listener(std::move(ownListener)) {}
    ~Tap() override {
        service.listeners.remove(listener);
        service.publish();
        if (service.listeners.empty()) service.stopListening();
    }

private:
    KeyService& service;
    const std::shared_ptr<const KeyListener> listener;
};

KeyService* KeyService::shared() { return installed.get(); }

std::unique_ptr<KeyTap> KeyService::listen(KeyListener listener) {
    const bool isFirst = listeners.empty();
    listeners.push_back(std::make_shared<const KeyListener>(std::move(listener)));
    publish();
    auto tap = std::make_unique<Tap>(*this, listeners.back());
    if (isFirst && !startListening()) return nullptr;
    return tap;
}

void KeyService::publish() { published.publish(std::make_unique<const Listeners>(listeners.begin(), listeners.end())); }

void KeyService::deliver(const KeyEvent& event) const {
    published.read([&](const Listeners* all) {
        if (!all) return;
        for (const auto& listener : *all) (*listener)(event);
    });
}

KeyServiceScope::KeyServiceScope(KeyService& service) : former(installed.exchange(&service)) {}

KeyServiceScope::~KeyServiceScope() { installed.set(former); }

}  // namespace varnolex
