#include "views/qt/ProgressViewModel.h"

#include <QVariantMap>

namespace tavrin {

namespace {

QString q(const std::string& text) {
    return QString::fromStdString(text);
}

} // namespace

void ProgressViewModel::present(const ProgressPresentation& presentation, bool dark) {
    if (presentation == shown_ && dark == dark_)
        return;
    shown_ = presentation;
    dark_ = dark;
    emit changed();
}

QStringList ProgressViewModel::weekLabels() const {
    QStringList labels;
    for (const auto& week : shown_.weeks)
        labels.push_back(q(week.label));
    return labels;
}

QVariantList ProgressViewModel::clicks() const {
    QVariantList values;
    for (const auto& week : shown_.weeks)
        values.push_back(static_cast<qreal>(week.clicks));
    return values;
}

QVariantList ProgressViewModel::uses() const {
    QVariantList values;
    for (const auto& week : shown_.weeks)
        values.push_back(static_cast<qreal>(week.uses));
    return values;
}

QVariantList ProgressViewModel::weeks() const {
    QVariantList rows;
    for (const auto& week : shown_.weeks)
        rows.push_back(QVariantMap{{QStringLiteral("label"), q(week.label)},
                                   {QStringLiteral("clicks"), static_cast<qint64>(week.clicks)},
                                   {QStringLiteral("uses"), static_cast<qint64>(week.uses)},
                                   {QStringLiteral("spoken"), q(week.spoken)}});
    return rows;
}

QVariantList ProgressViewModel::learned() const {
    QVariantList rows;
    for (const auto& shortcut : shown_.learned)
        rows.push_back(QVariantMap{{QStringLiteral("actionName"), q(shortcut.actionName)},
                                   {QStringLiteral("place"), q(shortcut.place)},
                                   {QStringLiteral("keys"), q(shortcut.keys)},
                                   {QStringLiteral("when"), q(shortcut.when)},
                                   {QStringLiteral("spoken"), q(shortcut.spoken)}});
    return rows;
}

} // namespace tavrin
