#pragma once

#include <QString>

namespace quillora {

/// The endpoint of users who have not entered their own.
QString defaultEndpoint();

/// Whether it is the default endpoint of a build for which nobody runs a backend.
bool leadsNowhere(const QString &endpoint);

/// What such a user can do when it cannot be reached; short enough to be read whole in the status line.
QString adviceWithoutDefaultEndpoint();

/// The endpoint to use for what is stored: users who never entered their own, or still have the local default
/// of earlier versions, get the hosted backend's.
QString migratedEndpoint(const QString &stored);

} // namespace quillora
