#pragma once

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

#include "tests/support/scratch_folder.h"

namespace qvGeom {

/// Drives the built program as a user does, in a folder of its own.
class Program : public testing::Test {
 protected:
  struct Outcome {
    int code;
    std::string out, err;
  };

  // Runs "qvgeom ARGUMENTS" in the scratch folder by way of the shell, which does the redirections.
  Outcome run(const std::string& arguments, const std::string& before = "") const {
    const int status = std::system(("cd '" + folder.path() + "' && " + before + " '" QVGEOM_PROGRAM "' " +
                                    arguments + " > out.txt 2> err.txt")
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), folder.read("out.txt"),
            folder.read("err.txt")};
  }

  ScratchFolder folder;
};

}  // namespace qvGeom
