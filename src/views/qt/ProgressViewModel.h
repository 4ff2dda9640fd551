#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include "views/presenters/ProgressPresenter.h"

namespace tavrin {

// What ProgressWindow binds to: the presentation of the progress report, in the shapes the chart
// and the lists take. `present` signals only when something changed. Main thread.
class ProgressViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("given to the progress window by the application")
    // The chart's categories and its two series, oldest week first; the value axis' top.
    Q_PROPERTY(QStringList weekLabels READ weekLabels NOTIFY changed)
    Q_PROPERTY(QVariantList clicks READ clicks NOTIFY changed)
    Q_PROPERTY(QVariantList uses READ uses NOTIFY changed)
    Q_PROPERTY(int scaleTop READ scaleTop NOTIFY changed)
    Q_PROPERTY(int scaleStep READ scaleStep NOTIFY changed)
    // The chart's table: {label, clicks, uses, spoken}.
    Q_PROPERTY(QVariantList weeks READ weeks NOTIFY changed)
    // {actionName, place, keys, when}, newest first.
    Q_PROPERTY(QVariantList learned READ learned NOTIFY changed)
    Q_PROPERTY(QString noneLearned READ noneLearned NOTIFY changed)
    Q_PROPERTY(QString timeSaved READ timeSaved NOTIFY changed)
    // The desktop's palette is dark: the chart's colours follow.
    Q_PROPERTY(bool dark READ dark NOTIFY changed)

public:
    using QObject::QObject;

    void present(const ProgressPresentation& presentation, bool dark);

    QStringList weekLabels() const;
    QVariantList clicks() const;
    QVariantList uses() const;
    int scaleTop() const { return static_cast<int>(shown_.scaleTop); }
    int scaleStep() const { return static_cast<int>(shown_.scaleStep); }
    QVariantList weeks() const;
    QVariantList learned() const;
    QString noneLearned() const { return QString::fromStdString(shown_.noneLearned); }
    QString timeSaved() const { return QString::fromStdString(shown_.timeSaved); }
    bool dark() const { return dark_; }

signals:
    void changed();

private:
    ProgressPresentation shown_;
    bool dark_ = false;
};

} // namespace tavrin
