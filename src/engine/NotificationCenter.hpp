#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/UUID.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

/// Tells those who want to know that something happened, by name. Any thread; observers are called on the thread that
/// posts.
class NotificationCenter {
public:
    /// Receives the object that the notification is about; nil when it is about none.
    using Observer = std::function<void(const UUID& object)>;
    using Token = std::uint64_t;

    static NotificationCenter& shared();

    Token observe(std::string_view name, Observer observer);
    void stopObserving(Token token);
    void post(std::string_view name, const UUID& object = {});

private:
    struct Entry {
        Token token;
        Observer observer;
    };

    struct Register {
        std::map<std::string, std::vector<Entry>, std::less<>> observers;
        Token lastToken = 0;
    };

    Guarded<Register> entries;
};

}  // namespace varnolex
