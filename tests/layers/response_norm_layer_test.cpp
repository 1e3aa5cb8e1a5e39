#include "layers/response_norm_layer.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "layers/layer_fixture.h"
#include "layers/pool_layer.h"
#include "support/bits.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ContrastNormLayer;
using facefeature::CrossMapResponseNormLayer;
using facefeature::ResponseNormLayer;
using reference::Floats;

class ResponseNormLayerTest : public LayerTest {
 protected:
  static std::string sectionText(const std::string& rest) {
    return "[norm]\ntype=norm\nchannels=4\nsizeX=3\nscale=0.5\npow=0.75\n" + rest;
  }
};

TEST_F(ResponseNormLayerTest, ReadsItsFields) {
  useText(sectionText(""));
  const ResponseNormLayer layer(nullptr, "norm");
  EXPECT_EQ(4, layer.channels);
  EXPECT_EQ(3, layer.sizeX);
  EXPECT_SAME_FLOAT(0.5f, layer.scale);
  EXPECT_SAME_FLOAT(0.75f, layer.pow);
}

TEST_F(ResponseNormLayerTest, MissingKeysLeaveZeros) {
  useText("[norm]\ntype=cnorm\n");
  const ContrastNormLayer layer(nullptr, "norm");
  EXPECT_EQ(0, layer.channels);
  EXPECT_EQ(0, layer.sizeX);
  EXPECT_BITS(0u, layer.scale);
  EXPECT_BITS(0u, layer.pow);
  EXPECT_EQ(0, layer.imgSize);
}

TEST_F(ResponseNormLayerTest, WithoutATargetTheActivationsStayEmpty) {
  useText(sectionText(""));
  ResponseNormLayer layer(nullptr, "norm");
  addInput(1, 8, Floats(8, 2.0f));
  const Matrix& output = run(layer);
  EXPECT_EQ(nullptr, output.buffer);
  EXPECT_TRUE(hasShape(output, 0, 0, 111));
}

TEST_F(ResponseNormLayerTest, WithATargetTheInputPassesUnchanged) {
  SeededRandom random;
  useText(sectionText("actsTarget=0\n"));
  ResponseNormLayer layer(nullptr, "norm");
  const Floats values = random.normals(8);
  Matrix& input = addInput(1, 8, values);
  EXPECT_EQ(&input, &run(layer));
  EXPECT_TRUE(holdsValues(input, values));
}

TEST_F(ResponseNormLayerTest, FollowingLayerIsNotifiedAndWorksOnNoRows) {
  useText(sectionText("[pool]\ntype=pool\npool=max\nchannels=1\nsizeX=2\nstride=2\noutputsX=2\n"));
  ResponseNormLayer layer(nullptr, "norm");
  facefeature::MaxPoolLayer follower(nullptr, "pool");
  layer.outputLayers.push_back(&follower);
  follower.inputLayers.push_back(&layer);
  follower.resetForward();
  addInput(1, 8, Floats(8, 2.0f));
  run(layer);
  EXPECT_EQ(1, follower.receivedInputs);
  EXPECT_TRUE(hasShape(*follower.getActivations(), 0, 4, 111));
}

TEST_F(ResponseNormLayerTest, ContrastLayerReadsItsImageSizeAndDoesNothing) {
  useText(sectionText("imgSize=13\n"));
  ContrastNormLayer layer(nullptr, "norm");
  EXPECT_EQ(13, layer.imgSize);
  EXPECT_EQ(4, layer.channels);
  addInput(1, 8, Floats(8, 2.0f));
  EXPECT_TRUE(hasShape(run(layer), 0, 0, 111));
  EXPECT_EQ(nullptr, layer.spare.buffer);
}

TEST_F(ResponseNormLayerTest, CrossMapLayerMatchesBitForBit) {
  SeededRandom random;
  useText(sectionText(""));
  CrossMapResponseNormLayer layer(nullptr, "norm");
  const Floats values = random.normals(2 * 36);
  addInput(2, 36, values);
  const Matrix& output = run(layer);
  ASSERT_TRUE(hasShape(output, 2, 36, 111));
  const Floats wanted = reference::crossMapNorm(values, 2, 4, 3, 0.5f, 0.75f);
  EXPECT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size()));
}

TEST_F(ResponseNormLayerTest, CrossMapLayerReadsTheFirstInputAtEveryCallAndOverwrites) {
  SeededRandom random;
  useText(sectionText(""));
  CrossMapResponseNormLayer layer(nullptr, "norm");
  addInput(1, 8, random.normals(8));
  addInput(1, 8, random.normals(8));
  Matrix& output = run(layer);
  const Floats first = valuesByRows(output);
  for (int32_t i = 0; i < output.size; ++i) {
    output.buffer[i] = std::numeric_limits<float>::quiet_NaN();
  }
  layer.applyInput(1, 1.0f);
  EXPECT_TRUE(holdsValues(output, first));
}

TEST_F(ResponseNormLayerTest, CrossMapLayerWithoutChannelsIsOutOfRange) {
  useText("[norm]\ntype=cmrnorm\nsizeX=3\nscale=0.5\npow=0.75\n");
  CrossMapResponseNormLayer layer(nullptr, "norm");
  addInput(1, 8, Floats(8, 2.0f));
  EXPECT_THROW(run(layer), std::out_of_range);
}

}  // namespace
}  // namespace facefeature_test
