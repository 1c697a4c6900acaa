#include "tools/devices/HIDTool.hpp"

#include <algorithm>
#include <array>

#include "engine/ListParameters.hpp"
#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"
#include "tools/ToolDefinitions.hpp"

// Reads one device at a time, and keeps waiting for it when it isn't there. What comes in by the chain passes.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array mappingTable{
    integer<&HIDMapping::cookie>("cookie").required(),
    byte<&HIDMapping::status>("status").required(),
    byte<&HIDMapping::data1>("data1").required(),
};

constexpr std::array table{
    byte<&HIDSettings::outputChannel>("outputChannel"),
    records<&HIDSettings::elementMappings, mappingTable>("mappings"),
    optionalText<&HIDSettings::selectedDeviceName>("deviceName"),
};

constexpr std::uint16_t genericDesktop = 1;
/// Pointer, mouse, joystick, game pad, keyboard, keypad, multi-axis controller.
constexpr std::array<std::uint16_t, 7> wantedUsages{1, 2, 4, 5, 6, 7, 8};
constexpr std::array<std::string_view, 4> wantedTransports{"USB", "Bluetooth", "BluetoothLowEnergy",
                                                           "Bluetooth Low Energy"};
/// From here on usages mean what their maker says.
constexpr std::uint16_t firstVendorPage = 0xFF00;
constexpr std::size_t widestValue = 4;

const std::string& nameOf(const HIDDevice& device) {
    return device.product.empty() ? device.manufacturer : device.product;
}

bool isWanted(HIDUsage usage) {
    return usage.page == genericDesktop && std::ranges::find(wantedUsages, usage.usage) != wantedUsages.end();
}

bool isWanted(const HIDDevice& device) {
    return std::ranges::any_of(device.applications, [](HIDUsage usage) { return isWanted(usage); }) &&
           std::ranges::find(wantedTransports, device.transport) != wantedTransports.end() && !nameOf(device).empty();
}

/// A control's range on that of MIDI, halves upwards.
std::uint8_t scaled(const HIDValue& value) {
    const auto [low, high] = std::minmax(value.element.logicalMinimum, value.element.logicalMaximum);
    if (high == low) return value.value > low ? 127 : 0;
    const std::int64_t range = high - low;
    const std::int64_t above = std::clamp(value.value, low, high) - low;
    return static_cast<std::uint8_t>((above * 254 + range) / (range * 2));
}

}  // namespace

HIDTool::HIDTool() : ConfiguredTool(hidDefinition) {}

void HIDTool::process(const ChainMessage& message, ToolChain& chain) { chain.forward(message); }

void HIDTool::start(std::uint32_t) {
    HIDService* const service = HIDService::shared();
    if (!service || manager) return;
    deviceNames.clear();
    manager = service->watch({[this](const HIDDevice& device) { deviceMatched(device); },
                              [this](const HIDDevice& device) { deviceRemoved(device); }});
}

void HIDTool::stop() {
    close();
    manager.reset();
}

void HIDTool::deviceMatched(const HIDDevice& device) {
    if (!isWanted(device)) return;
    const auto place = std::ranges::lower_bound(deviceNames, nameOf(device));
    if (place == deviceNames.end() || *place != nameOf(device)) deviceNames.insert(place, nameOf(device));
    if (!openedDevice && nameOf(device) == settings().selectedDeviceName) open(device);
}

void HIDTool::deviceRemoved(const HIDDevice& device) {
    if (!isWanted(device)) return;
    std::erase(deviceNames, nameOf(device));
    if (openedDevice && device.id == openedID) close();
}

void HIDTool::selectDevice(const std::string& name) {
    if (settings().selectedDeviceName == name) return;
    change([&](HIDSettings& next) {
        next.selectedDeviceName = name;
        next.elementMappings.clear();
    });
}

void HIDTool::settingsDidChange(const HIDSettings& before) {
    auto next = std::make_unique<Mappings>();
    for (const HIDMapping& mapping : settings().elementMappings) (*next)[mapping.cookie] = mapping;
    mappings.publish(std::move(next));
    if (settings().selectedDeviceName == before.selectedDeviceName) return;
    close();
    openSelected();
}

void HIDTool::enabledDidChange(bool isOn) {
    if (!isOn) endSoundingNotes();
}

void HIDTool::openSelected() {
    if (!manager) return;
    const auto& devices = HIDService::shared()->devices();
    const auto found = std::ranges::find_if(devices, [&](const HIDDevice& device) {
        return isWanted(device) && nameOf(device) == settings().selectedDeviceName;
    });
    if (found != devices.end()) open(*found);
}

void HIDTool::open(const HIDDevice& device) {
    openedID = device.id;
    openedDevice = HIDService::shared()->open(device.id, [weak = weak_from_this()](const HIDValue& value) {
        if (const auto tool = weak.lock()) static_cast<HIDTool&>(*tool).take(value);
    });
}

void HIDTool::close() {
    openedDevice.reset();
    // A button that was down can't end its note any more.
    endSoundingNotes();
}

void HIDTool::endSoundingNotes() {
    const auto owner = chain();
    if (!owner) return;
    owner->enter([&] {
        const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
        sounding.end([&](std::span<const std::uint8_t> noteOff) { owner->send(place.carrying(noteOff)); });
    });
}

void HIDTool::take(const HIDValue& value) {
    const auto owner = chain();
    if (!isEnabled() || !owner) return;
    if (value.byteCount < 1 || value.byteCount > widestValue || value.element.usage.page >= firstVendorPage) return;
    const std::int64_t cookie = value.element.cookie;
    std::array<std::uint8_t, 3> bytes{0xB0, static_cast<std::uint8_t>(std::clamp<std::int64_t>(cookie, 0, 255)),
                                      scaled(value)};
    mappings.read([&](const Mappings* all) {
        if (!all) return;
        const auto mapping = all->find(cookie);
        if (mapping == all->end()) return;
        bytes[0] = mapping->second.status;
        bytes[1] = mapping->second.data1;
    });
    bytes[0] = static_cast<std::uint8_t>(bytes[0] | (current().outputChannel & 0x0F));
    owner->enter([&] {
        sounding.observe(bytes);
        const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
        owner->send(place.carrying(bytes));
    });
}

const ToolDefinition hidDefinition{PipeToolType::hid, "HIDConfig", table,
                                   []() -> std::shared_ptr<PipeTool> { return std::make_shared<HIDTool>(); }};

}  // namespace varnolex
