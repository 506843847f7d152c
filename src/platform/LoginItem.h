#pragma once

#include <QString>

#include <expected>

// Whether the application starts when the user logs in. Main thread; quick (one small file).
// A failure carries a readable message for the log.
class LoginItem
{
public:
    virtual ~LoginItem() = default;
    virtual bool isEnabled() const = 0;
    virtual std::expected<void, QString> setEnabled(bool enabled) = 0;
};
