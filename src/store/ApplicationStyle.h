#pragma once

#include <QJsonObject>
#include <QString>
#include <QUuid>

#include <optional>

class JsonWriter;

// A writing instruction for one target application, found by its bundle identifier; or, with
// `skipsPolishing`, the switch that keeps that application's dictations from being rewritten.
struct ApplicationStyle {
    QUuid id = QUuid::createUuid();
    QString bundleIdentifier;
    QString applicationName;
    QString instruction;
    bool skipsPolishing = false;

    // Nothing when `bundleIdentifier` is missing or not text; the other fields fall back one by one.
    static std::optional<ApplicationStyle> decoded(const QJsonObject &object);
    void encode(JsonWriter &writer) const;

    friend bool operator==(const ApplicationStyle &, const ApplicationStyle &) = default;
};
