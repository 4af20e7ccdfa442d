#include "ui/ModelMark.h"

#include "models/ModelWords.h"

namespace quillora {

std::optional<Picker::Mark> modelMark(const ModelNeed &need) {
    const QString standing = ModelWords::standing(need);
    switch (need.standing) {
    case ModelNeed::Standing::ready:
        return {};
    case ModelNeed::Standing::missing:
        return Picker::Mark{u"arrow.down.circle"_qs, {}, u"Not installed: "_qs + standing};
    case ModelNeed::Standing::arriving:
        return Picker::Mark{u"arrow.triangle.2.circlepath.circle"_qs, need.percent, standing};
    case ModelNeed::Standing::unserved:
        return Picker::Mark{u"slash.circle"_qs, {}, standing};
    }
    Q_UNREACHABLE();
}

} // namespace quillora
