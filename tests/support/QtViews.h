// What the view tests share: the views' QML by file name, a dark palette as a desktop gives one,
// items found in a scene, and pictures saved to build/test-artifacts for a person to look at.
#pragma once

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QPalette>
#include <QQuickItem>
#include <QUrl>
#include <functional>

#include "views/qt/ViewResources.h"

namespace tavrin::testing {

inline QUrl viewUrl(const char* file) {
    return QUrl(QStringLiteral("qrc") + QString::fromLatin1(kViewsResourceRoot) + QString::fromLatin1(file));
}

inline QPalette darkPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x2b, 0x2b, 0x2e));
    palette.setColor(QPalette::WindowText, QColor(0xf0, 0xf0, 0xf0));
    palette.setColor(QPalette::Base, QColor(0x3a, 0x3a, 0x3e));
    palette.setColor(QPalette::Text, QColor(0xf0, 0xf0, 0xf0));
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3e));
    palette.setColor(QPalette::ButtonText, QColor(0xf0, 0xf0, 0xf0));
    palette.setColor(QPalette::PlaceholderText, QColor(0xa0, 0xa0, 0xa5));
    return palette;
}

// The first showing item under `root`, depth first, that `match` picks.
inline QQuickItem* findItem(QQuickItem* root, const std::function<bool(QQuickItem*)>& match) {
    for (QQuickItem* item : root->childItems()) {
        if (!item->isVisible())
            continue;
        if (match(item))
            return item;
        if (QQuickItem* found = findItem(item, match))
            return found;
    }
    return nullptr;
}

inline QPoint centre(QQuickItem* item) {
    return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
}

// Saves the picture as `name`.png in the artifacts folder (and its subfolders in `name`).
inline bool savePicture(const QImage& picture, const QString& name) {
    const QString file = QStringLiteral(TAVRIN_TEST_ARTIFACTS "/") + name + QStringLiteral(".png");
    QDir().mkpath(QFileInfo(file).path());
    return picture.save(file);
}

} // namespace tavrin::testing
