#pragma once

#include "platform/Permissions.h"

#include <mutex>
#include <vector>

// Grants as the test sets them; requests and opened pages in order.
class FakePermissions final : public Permissions
{
public:
    mutable std::mutex lock;
    PermissionStatus granted;
    std::vector<Permission> requested;
    std::vector<Permission> opened;

    PermissionStatus status(RecognitionLanguage) const override
    {
        std::scoped_lock guard(lock);
        return granted;
    }
    void request(Permission permission, RecognitionLanguage) override { requested.push_back(permission); }
    void openPage(Permission permission) override { opened.push_back(permission); }
    void grant(const PermissionStatus &status)
    {
        std::scoped_lock guard(lock);
        granted = status;
    }
};
