#include "layers/pool_layer.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "layers/layer_fixture.h"
#include "support/bits.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::AvgPoolLayer;
using facefeature::createPoolLayer;
using facefeature::MaxPoolLayer;
using facefeature::PoolLayer;
using reference::Floats;
using reference::PoolGeometry;

class PoolLayerTest : public LayerTest {
 protected:
  void SetUp() override {
    LayerTest::SetUp();
    geometry.channels = 2;
    geometry.sizeX = 3;
    geometry.start = -1;
    geometry.stride = 2;
    geometry.outputsX = 3;
  }

  void usePool(const std::string& pool) {
    useText("[pool1]\ntype=pool\npool=" + pool +
            "\nchannels=2\nsizeX=3\nstart=-1\nstride=2\noutputsX=3\n");
  }

  PoolGeometry geometry;
};

TEST_F(PoolLayerTest, ReadsItsFields) {
  useText("[pool1]\ntype=pool\npool=max\nchannels=2\nsizeX=3\nstart=-4\nstride=5\noutputsX=6\n");
  const MaxPoolLayer layer(nullptr, "pool1");
  EXPECT_EQ(2, layer.channels);
  EXPECT_EQ(3, layer.sizeX);
  EXPECT_EQ(-4, layer.start);
  EXPECT_EQ(5, layer.stride);
  EXPECT_EQ(6, layer.outputsX);
  EXPECT_EQ("max", layer.pool);
}

TEST_F(PoolLayerTest, MissingKeysLeaveZeros) {
  useText("[pool1]\ntype=pool\n");
  const AvgPoolLayer layer(nullptr, "pool1");
  EXPECT_EQ(0, layer.channels);
  EXPECT_EQ(0, layer.sizeX);
  EXPECT_EQ(0, layer.start);
  EXPECT_EQ(0, layer.stride);
  EXPECT_EQ(0, layer.outputsX);
  EXPECT_EQ("", layer.pool);
}

TEST_F(PoolLayerTest, FactoryChoosesTheKindByTheKey) {
  usePool("max");
  const std::unique_ptr<Layer> largest(createPoolLayer(nullptr, "pool1"));
  EXPECT_NE(nullptr, dynamic_cast<MaxPoolLayer*>(largest.get()));
  EXPECT_EQ("pool1", largest->name);
  usePool("avg");
  const std::unique_ptr<Layer> average(createPoolLayer(nullptr, "pool1"));
  EXPECT_NE(nullptr, dynamic_cast<AvgPoolLayer*>(average.get()));
}

TEST_F(PoolLayerTest, AnyOtherKindIsThrownAsText) {
  for (const std::string value : {"MAX", "ma", "maxi", "Avg", "average"}) {
    usePool(value);
    EXPECT_TRUE(throwsText("Unknown pooling layer type " + value, [] {
      createPoolLayer(nullptr, "pool1");
    })) << value;
  }
}

TEST_F(PoolLayerTest, MissingKindIsThrownAsText) {
  useText("[pool1]\ntype=pool\n");
  EXPECT_TRUE(throwsText("Unknown pooling layer type ", [] { createPoolLayer(nullptr, "pool1"); }));
}

TEST_F(PoolLayerTest, MaxLayerMatchesBitForBit) {
  SeededRandom random;
  usePool("max");
  const std::unique_ptr<Layer> layer(createPoolLayer(nullptr, "pool1"));
  const Floats samples = valuesWithSpecials(random, 2 * 2 * 25, 10);
  addInput(2, 50, samples);
  const Matrix& output = run(*layer);
  ASSERT_TRUE(hasShape(output, 2, 18, 111));
  const Floats wanted = reference::maximumPool(samples, 2, geometry);
  EXPECT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size()));
}

TEST_F(PoolLayerTest, AvgLayerMatchesBitForBit) {
  SeededRandom random;
  usePool("avg");
  const std::unique_ptr<Layer> layer(createPoolLayer(nullptr, "pool1"));
  const Floats samples = valuesWithSpecials(random, 2 * 2 * 25, 3);
  addInput(2, 50, samples);
  const Matrix& output = run(*layer);
  ASSERT_TRUE(hasShape(output, 2, 18, 111));
  const Floats wanted = reference::averagePool(samples, 2, geometry);
  EXPECT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size()));
}

TEST_F(PoolLayerTest, EveryCallPoolsTheFirstInputAndOverwrites) {
  SeededRandom random;
  for (const std::string pool : {"max", "avg"}) {
    usePool(pool);
    const std::unique_ptr<Layer> layer(createPoolLayer(nullptr, "pool1"));
    clearInputs();
    addInput(1, 50, random.normals(50));
    addInput(1, 50, random.normals(50));
    Matrix& output = run(*layer);
    const Floats first = valuesByRows(output);
    const float* const buffer = output.buffer;
    for (int32_t i = 0; i < output.size; ++i) {
      output.buffer[i] = std::numeric_limits<float>::quiet_NaN();
    }
    layer->applyInput(1, 1.0f);
    EXPECT_EQ(buffer, output.buffer);
    EXPECT_TRUE(holdsValues(output, first)) << pool;
  }
}

TEST_F(PoolLayerTest, WithATargetThatKeepsItsShapeNothingOfTheInputIsLeft) {
  for (const std::string pool : {"max", "avg"}) {
    useText("[pool1]\ntype=pool\nactsTarget=0\npool=" + pool +
            "\nchannels=2\nsizeX=3\nstart=-1\nstride=1\noutputsX=3\n");
    const std::unique_ptr<Layer> layer(createPoolLayer(nullptr, "pool1"));
    clearInputs();
    Matrix& input = addInput(1, 18, Floats(18, 5.0f));
    EXPECT_EQ(&input, &run(*layer));
    for (int i = 0; i < 18; ++i) EXPECT_BITS(pool == "max" ? 0xFF167699u : 0u, input.buffer[i]);
  }
}

TEST_F(PoolLayerTest, WithATargetOfAnotherShapeItIsOutOfRange) {
  for (const std::string pool : {"max", "avg"}) {
    useText("[pool1]\ntype=pool\nactsTarget=0\npool=" + pool +
            "\nchannels=2\nsizeX=2\nstride=2\noutputsX=2\n");
    const std::unique_ptr<Layer> layer(createPoolLayer(nullptr, "pool1"));
    clearInputs();
    Matrix& input = addInput(1, 18, Floats(18, 5.0f));
    EXPECT_THROW(run(*layer), std::out_of_range) << pool;
    EXPECT_TRUE(holdsValues(input, Floats(18, 5.0f)));
  }
}

TEST_F(PoolLayerTest, ZeroDivisorsInTheTextAreOutOfRange) {
  for (const std::string pool : {"max", "avg"}) {
    for (const std::string key : {"channels", "outputsX"}) {
      const std::string other = key == "channels" ? "outputsX" : "channels";
      useText("[pool1]\ntype=pool\npool=" + pool + "\n" + other + "=1\n" + key +
              "=0\nsizeX=2\nstride=2\n");
      const std::unique_ptr<Layer> layer(createPoolLayer(nullptr, "pool1"));
      clearInputs();
      addInput(1, 4, {1, 2, 3, 4});
      EXPECT_THROW(run(*layer), std::out_of_range) << pool << ", " << key;
    }
  }
}

}  // namespace
}  // namespace facefeature_test
