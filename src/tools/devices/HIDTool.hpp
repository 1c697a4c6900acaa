#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/SoundingNotes.hpp"
#include "engine/ConfiguredTool.hpp"
#include "platform/concurrency/Published.hpp"
#include "platform/hid/HIDService.hpp"

namespace varnolex {

/// The message that a control sends in place of the controller of its cookie.
struct HIDMapping {
    std::int64_t cookie = 0;
    std::uint8_t status = 0;
    std::uint8_t data1 = 0;
};

struct HIDSettings {
    struct RealTime {
        std::uint8_t outputChannel;
    };

    /// 0 to 15.
    std::uint8_t outputChannel = 0;
    std::vector<HIDMapping> elementMappings;
    std::optional<std::string> selectedDeviceName;

    RealTime realTime() const { return {outputChannel}; }
};

/// Plays the axes and buttons of a game controller or the like as controllers. Values arrive on the thread of the HID
/// service and go on from there.
class HIDTool final : public ConfiguredTool<HIDSettings> {
public:
    HIDTool();

    void process(const ChainMessage& message, ToolChain& chain) override;
    void start(std::uint32_t midiClient) override;
    void stop() override;

    /// Opens the first device of that name, now or when it comes. Another device has other controls, so the mappings
    /// go. Main thread.
    void selectDevice(const std::string& name);

    /// Sorted. Main thread.
    const std::vector<std::string>& availableDeviceNames() const { return deviceNames; }

    /// Whether the selected device is being read. Main thread.
    bool isReading() const { return openedDevice != nullptr; }

protected:
    void settingsDidChange(const HIDSettings& before) override;
    void enabledDidChange(bool isOn) override;

private:
    using Mappings = std::map<std::int64_t, HIDMapping>;

    void deviceMatched(const HIDDevice& device);
    void deviceRemoved(const HIDDevice& device);
    void openSelected();
    void open(const HIDDevice& device);
    void close();
    void endSoundingNotes();
    void take(const HIDValue& value);

    std::vector<std::string> deviceNames;
    std::unique_ptr<HIDWatch> manager;
    std::unique_ptr<HIDConnection> openedDevice;
    std::uint64_t openedID = 0;
    Published<Mappings> mappings;
    /// Touched inside walks only.
    SoundingNotes sounding;
};

}  // namespace varnolex
