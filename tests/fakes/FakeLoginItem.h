#pragma once

#include "platform/LoginItem.h"

namespace quillora::test {

class FakeLoginItem : public platform::LoginItem {
public:
    bool isEnabled() const override { return m_isEnabled; }
    void setEnabled(bool isEnabled) override { m_isEnabled = isEnabled && !isRefused; }

    bool isRefused = false; ///< the desktop cannot remember it

private:
    bool m_isEnabled = false;
};

} // namespace quillora::test
