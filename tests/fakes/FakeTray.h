#pragma once

#include "fakes/FakeStatusItem.h"
#include "platform/Tray.h"

#include <memory>
#include <utility>

namespace quillora::test {

class FakeTray : public platform::Tray {
public:
    std::unique_ptr<platform::StatusItem> makeItem(platform::StatusItemListener listener) override {
        auto made = std::make_unique<FakeStatusItem>(std::move(listener));
        made->hasTray = isThere;
        item = made.get();
        return made;
    }

    bool isThere = true;            ///< when an item is made; later its `setTray` says
    FakeStatusItem *item = nullptr; ///< the one that was made, as long as whoever asked for it keeps it
};

} // namespace quillora::test
