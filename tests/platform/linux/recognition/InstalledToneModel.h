#pragma once

#include "platform/ModelStore.h"
#include "recognizer/ToneModels.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace quillora::test {

/// A model that understands tones, as if a store had installed it.
class InstalledToneModel {
public:
    explicit InstalledToneModel(const QString &name, const QStringList &languages,
                                std::string_view alphabet = {}) {
        auto model = ToneModels::model(name.toStdString());
        if (!alphabet.empty())
            model = ToneModels::spelled(model, alphabet);
        for (const auto &file : model.files) {
            const QString path = QString::fromStdString(file);
            const bool isTokens = path.endsWith(QStringLiteral(".txt"));
            QFile::copy(path, m_folder.filePath(isTokens ? QStringLiteral("tokens.txt")
                                                         : QFileInfo(path).fileName()));
        }
        m_description.id = name;
        m_description.version = QStringLiteral("1");
        m_description.languages = languages;
        m_description.engine = QStringLiteral("sherpa");
        for (const auto &parameter : model.parameters)
            m_description.parameters[QString::fromStdString(parameter.name)] =
                QString::fromStdString(parameter.value);
    }

    QString folder() const { return m_folder.path(); }
    platform::ModelDescription &description() { return m_description; }
    const platform::ModelDescription &description() const { return m_description; }

private:
    QTemporaryDir m_folder;
    platform::ModelDescription m_description;
};

/// The network that tells speech from pauses, as if a store had installed it.
class InstalledDetector {
public:
    InstalledDetector() {
        QFile::copy(QString::fromStdString(ToneModels::detectorFile()), file());
        m_description.id = QStringLiteral("detector");
        m_description.kind = platform::ModelKind::voiceActivity;
        m_description.version = QStringLiteral("1");
        m_description.engine = QStringLiteral("sherpa");
    }

    QString folder() const { return m_folder.path(); }
    QString file() const { return m_folder.filePath(QStringLiteral("detector.onnx")); }
    const platform::ModelDescription &description() const { return m_description; }

private:
    QTemporaryDir m_folder;
    platform::ModelDescription m_description;
};

} // namespace quillora::test
