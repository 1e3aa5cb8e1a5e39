// The usual binding of a host on Windows: by ordinal, from C.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"

namespace facefeature_test {
namespace {

TEST(OrdinalHost, BindsExtractsAndCompares) {
  const LinkedModel model;
  const std::vector<std::string> lines = linesOf(outputOf(
      runChild(FACEFEATURE_ORDINAL_HOST, {FACEFEATURE_LIBRARY, model.temporaryFolder()}, {})));
  ASSERT_EQ(2u, lines.size());
  EXPECT_EQ(goodFeature(), lines[0]);
  EXPECT_EQ("score ", lines[1].substr(0, 6));
}

// The folder is the temporary folder of the process at the time of loading.
TEST(OrdinalHost, FindsNoModelElsewhere) {
  const LinkedModel model;
  const ChildResult result =
      runChild(FACEFEATURE_ORDINAL_HOST, {FACEFEATURE_LIBRARY, model.folder()},
               {{kTemporaryFolderVariable, model.temporaryFolder()}});
  EXPECT_EQ(2, result.exitStatus);
  EXPECT_EQ("ordinal_host: the model is missing\n", result.err);
}

}  // namespace
}  // namespace facefeature_test
