// OpenSSL with its GOST engine, run as a program in a folder of its own.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/scoped_environment.h"

namespace test_support {

class PeerOpenssl {
  public:
    PeerOpenssl();

    // Where the program or its engine is not installed; tests skip then.
    bool IsMissing() const { return isMissing_; }
    // The cipher's parameter set of the runs to come, in OpenSSL's name for it.
    void UseCipherParameters(const std::string& name);

    // Files are named by paths in the folder, which is where the program runs.
    void Write(const std::string& file, std::span<const std::uint8_t> octets) const;
    std::vector<std::uint8_t> Read(const std::string& file) const;

    // The exit code of `openssl ARGUMENTS`, as the shell reads them; both outputs are in Output().
    int Run(const std::string& arguments);
    const std::string& Output() const { return output_; }

  private:
    const ScopedFolder folder_;
    std::string output_;
    bool isMissing_ = false;
};

}  // namespace test_support
