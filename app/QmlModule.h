#pragma once

#include <QString>
#include <QUrl>

class QQmlEngine;

// Where the Pellmora QML module lives in the resources, and what an engine
// needs before it can load it.
namespace QmlModule {

QUrl viewUrl(const QString &fileName);
// Registers the module's C++ types (the static library would otherwise let
// the linker drop them) and adds the module's import path.
void prepare(QQmlEngine &engine);

} // namespace QmlModule
