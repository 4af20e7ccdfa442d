#pragma once

#include "models/Models.h"
#include "translation/LanguageCatalog.h"

namespace quillora {

/// What a person is asked before a download, with languages as the panel calls them: "Download what
/// translating English to Russian takes? 14 MB from …, kept on this computer."
QString downloadQuestionText(const platform::DownloadQuestion &question, const Models &models,
                             const QList<SpokenLanguageOption> &spoken);

} // namespace quillora
