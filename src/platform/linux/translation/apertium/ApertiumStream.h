#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// How a piece of text travels through a pipeline: escaped, with a full stop and a mark behind it, as the
/// stages want it to let go of everything that they hold back; and between NULs.
namespace quillora::platform::ApertiumStream {

/// The bytes of one piece, which has no line ends and no NULs, with the NUL that ends it.
QByteArray encode(const QString &piece);

/// The text of one answer, which comes without its NUL; nothing if its end mark did not come through.
std::optional<QString> decode(const QByteArray &answer);

} // namespace quillora::platform::ApertiumStream
