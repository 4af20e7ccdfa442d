#include "translation/OpenAITranslationService.h"

#include "platform/LocalizedError.h"

namespace quillora {

QCoro::Task<QString> OpenAITranslationService::translate(QString, QString, QString, QString, QString,
                                                         QString) const {
    throw LocalizedError(u"Hosted translation is not part of this version yet. Choose Apple Local."_qs);
    co_return {};
}

} // namespace quillora
