#pragma once
#include <QByteArray>

// The system resolver (hosts file, DNS, whatever nsswitch says).
class Resolver {
public:
    virtual ~Resolver() = default;
    // Blocking, on the calling thread: does the name have an IPv4 host entry?
    virtual bool gethostbyname(const QByteArray& host) = 0;
};
