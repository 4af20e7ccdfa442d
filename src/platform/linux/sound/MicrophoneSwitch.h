#pragma once

#include <memory>

namespace quillora::platform {

/// The desktop's switch that forbids applications the microphone: GNOME's privacy setting, which other
/// desktops built from the same parts have too. Where there is none, nothing is forbidden. Main thread only.
class MicrophoneSwitch {
public:
    /// `schema` is where the setting `disable-microphone` is kept.
    explicit MicrophoneSwitch(const char *schema = "org.gnome.desktop.privacy");

    /// As it stands now.
    bool allowsRecording() const;

private:
    std::shared_ptr<void> m_settings; ///< a GSettings; none where there is no such setting
};

} // namespace quillora::platform
