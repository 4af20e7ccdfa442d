#include "ui/ModelMark.h"

#include "models/ModelWords.h"

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

/// From where no model serves: only translation has another engine.
QString wayOut(platform::ModelKind kind) {
    return kind == platform::ModelKind::translation ? u". Choose OpenAI Natural as the engine."_s : QString();
}

Picker::Mark unserved(const QString &words) { return {u"slash.circle"_s, {}, words}; }

} // namespace

std::optional<Picker::Mark> modelMark(const ModelNeed &need, platform::ModelKind kind) {
    const QString standing = ModelWords::standing(need);
    switch (need.standing) {
    case ModelNeed::Standing::ready:
        return {};
    case ModelNeed::Standing::missing:
        return Picker::Mark{u"arrow.down.circle"_s, {}, u"Not installed: "_s + standing};
    case ModelNeed::Standing::arriving:
        return Picker::Mark{u"arrow.triangle.2.circlepath.circle"_s, need.percent, standing};
    case ModelNeed::Standing::unserved:
        return unserved(standing + wayOut(kind));
    }
    Q_UNREACHABLE();
}

Picker::Mark hostedMark() {
    return unserved(u"There is no model for this. Choosing it changes the engine to OpenAI Natural."_s);
}

} // namespace quillora
