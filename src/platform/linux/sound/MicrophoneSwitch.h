#pragma once

#include <memory>

extern "C" {
struct _GSettings;
}

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
    struct Release {
        void operator()(_GSettings *settings) const;
    };
    std::unique_ptr<_GSettings, Release> m_settings; ///< none where there is no such setting
};

} // namespace quillora::platform
