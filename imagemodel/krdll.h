#pragma once

#include <cstdint>
#include <vector>

#include "imagemodel/krstring.h"

namespace KrN {

// A module version as one number, major * 100 + minor: minor numbers are below 100, major ones up to 655.
class KrVersion {
public:
    KrVersion() = default;
    KrVersion(unsigned major, unsigned minor) : mNumber(static_cast<std::uint16_t>(major * 100 + minor)) {}
    std::uint16_t GetNumber() const { return mNumber; }
    unsigned GetMajor() const { return mNumber / 100u; }
    unsigned GetMinor() const { return mNumber % 100u; }

private:
    std::uint16_t mNumber = 0;
};

// A loaded module. It is listed in the process-wide registry for as long as the object lives. Modules are meant to be
// registered at start-up, from one thread.
class VORIP_API KrDll {
public:
    KrDll(const KrString& name, KrVersion version);
    KrDll(const KrDll& other);  // is listed as well
    KrDll& operator=(const KrDll& other) = default;
    virtual ~KrDll();

    const KrString& GetName() const { return mName; }
    KrVersion GetVersion() const { return mVersion; }

    // All modules, in the order in which they were made.
    static const std::vector<const KrDll*>& GetModules();

private:
    KrString mName;
    KrVersion mVersion;
};

}  // namespace KrN
