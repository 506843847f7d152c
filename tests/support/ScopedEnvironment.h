#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <map>
#include <optional>
#include <string>

// Sets environment variables for one test and puts the old values back when it goes.
class ScopedEnvironment
{
public:
    void set(const char *name, const QByteArray &value)
    {
        save(name);
        qputenv(name, value);
    }
    void unset(const char *name)
    {
        save(name);
        qunsetenv(name);
    }
    ~ScopedEnvironment()
    {
        for (const auto &[name, value] : saved) {
            if (value)
                qputenv(name.c_str(), *value);
            else
                qunsetenv(name.c_str());
        }
    }

private:
    void save(const char *name)
    {
        if (!saved.contains(name))
            saved.emplace(name, qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt);
    }

    std::map<std::string, std::optional<QByteArray>> saved;
};
