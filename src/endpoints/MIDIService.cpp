#include "endpoints/MIDIService.hpp"

#include <cassert>

#include "platform/concurrency/LiveValue.hpp"

namespace varnolex {

namespace {

SharedValue<MIDIService*> installed{nullptr};

}  // namespace

MIDIService& MIDIService::current() {
    MIDIService* service = installed.get();
    assert(service && "a MIDIServiceScope must be open");
    return *service;
}

bool MIDIService::isInstalled() { return installed.get() != nullptr; }

MIDIServiceScope::MIDIServiceScope(MIDIService& service) : former(installed.exchange(&service)) {}

MIDIServiceScope::~MIDIServiceScope() { installed.set(former); }

}  // namespace varnolex
