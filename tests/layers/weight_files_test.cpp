#include "layers/weight_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "net/conv_net.h"
#include "net/net_fixture.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvNet;
using facefeature::loadBiasMatrix;
using facefeature::loadWeightMatrices;
using facefeature::Matrix;

using Matrices = std::vector<std::unique_ptr<Matrix>>;

class WeightFiles : public ::testing::Test {
 protected:
  void SetUp() override { clearModelFolder(); }

  // Loads with these lines in the section and captures the output.
  Matrices weights(const std::string& lines, bool transposeOnLoad = false) {
    const ConvNet net(0, ("[layer]\n" + lines + "\n").c_str());
    Matrices matrices;
    printed = standardOutputOf([&] {
      const std::unique_ptr<std::vector<Matrix*>> list(
          loadWeightMatrices("layer", transposeOnLoad));
      for (Matrix* matrix : *list) matrices.emplace_back(matrix);
    });
    return matrices;
  }

  std::unique_ptr<Matrix> biases(const std::string& lines) {
    const ConvNet net(0, ("[layer]\n" + lines + "\n").c_str());
    std::unique_ptr<Matrix> matrix;
    printed = standardOutputOf([&] { matrix.reset(loadBiasMatrix("layer")); });
    return matrix;
  }

  std::string printed;
};

using WeightMatrices = WeightFiles;
using BiasMatrix = WeightFiles;

TEST_F(WeightMatrices, MatrixFileGivesAnOwningRowMajorMatrix) {
  writeMatrixFile("w", 2, 3, {1, 2, 3, 4, 5, 6});
  const Matrices matrices = weights("weights=w");
  ASSERT_EQ(1u, matrices.size());
  EXPECT_TRUE(holds(*matrices[0], 2, 3, {1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(facefeature::kRowMajor, matrices[0]->order);
  EXPECT_TRUE(matrices[0]->ownsBuffer);
  EXPECT_EQ("", printed);
}

TEST_F(WeightMatrices, FilesAreInTheOrderOfTheKey) {
  writeMatrixFile("5-1-1", 1, 1, {1});
  writeMatrixFile("5-1-2", 1, 2, {2, 3});
  const Matrices matrices = weights("weights=5-1-1_5-1-2");
  ASSERT_EQ(2u, matrices.size());
  EXPECT_TRUE(holds(*matrices[0], 1, 1, {1}));
  EXPECT_TRUE(holds(*matrices[1], 1, 2, {2, 3}));
  const Matrices reversed = weights("weights=5-1-2_5-1-1");
  ASSERT_EQ(2u, reversed.size());
  EXPECT_TRUE(holds(*reversed[0], 1, 2, {2, 3}));
}

TEST_F(WeightMatrices, AreTransposedIntoRowMajorCopiesIfWanted) {
  writeMatrixFile("w", 2, 3, {1, 2, 3, 4, 5, 6});
  const Matrices matrices = weights("weights=w", true);
  ASSERT_EQ(1u, matrices.size());
  EXPECT_TRUE(holds(*matrices[0], 3, 2, {1, 4, 2, 5, 3, 6}));
  EXPECT_EQ(facefeature::kRowMajor, matrices[0]->order);
  EXPECT_TRUE(matrices[0]->ownsBuffer);
}

TEST_F(WeightMatrices, AnyShapeIsTransposedElementByElement) {
  SeededRandom random;
  for (int round = 0; round < 30; ++round) {
    const int32_t rows = random.integer(1, 20);
    const int32_t cols = random.integer(1, 20);
    const Values values = random.normals(static_cast<size_t>(rows * cols));
    writeMatrixFile("w", rows, cols, values);
    const Matrices plain = weights("weights=w");
    ASSERT_TRUE(holds(*plain.at(0), rows, cols, values));
    const Matrices turned = weights("weights=w", true);
    Values wanted;
    for (int32_t c = 0; c < cols; ++c) {
      for (int32_t r = 0; r < rows; ++r)
        wanted.push_back(values[static_cast<size_t>(r * cols + c)]);
    }
    ASSERT_TRUE(holds(*turned.at(0), cols, rows, wanted));
  }
}

TEST_F(WeightMatrices, FileThatCannotBeOpenedPrintsALineAndLaterOnesMoveUp) {
  writeMatrixFile("there", 1, 1, {9});
  const Matrices matrices = weights("weights=gone_there_lost");
  ASSERT_EQ(1u, matrices.size());
  EXPECT_TRUE(holds(*matrices[0], 1, 1, {9}));
  EXPECT_EQ(failedLine("gone") + failedLine("lost"), printed);
}

TEST_F(WeightMatrices, PathHasASingleSeparatorBeforeTheName) {
  weights("weights=1-1-1");
  EXPECT_EQ(failedLine("1-1-1"), printed);
}

TEST_F(WeightMatrices, FolderInsteadOfAFileCannotBeOpened) {
  std::filesystem::create_directories(modelFolder() + "/w");
  EXPECT_TRUE(weights("weights=w").empty());
  EXPECT_EQ(failedLine("w"), printed);
}

TEST_F(WeightMatrices, MissingKeyGivesNoMatricesAndPrintsNothing) {
  EXPECT_TRUE(weights("biases=b").empty());
  EXPECT_EQ("", printed);
  EXPECT_TRUE(weights("weights=").empty());
  EXPECT_EQ("", printed);
}

TEST_F(WeightMatrices, MissingSectionGivesNoMatricesAndPrintsNothing) {
  const ConvNet net(0, "[other]\nweights=w\n");
  std::unique_ptr<std::vector<Matrix*>> list;
  EXPECT_EQ("", standardOutputOf([&] { list.reset(loadWeightMatrices("layer", true)); }));
  ASSERT_NE(nullptr, list);
  EXPECT_TRUE(list->empty());
}

TEST_F(WeightMatrices, EmptyNameOpensTheFolderItself) {
  writeMatrixFile("a", 1, 1, {1});
  EXPECT_EQ(2u, weights("weights=a__a").size());
  EXPECT_EQ(failedLine(""), printed);
}

TEST_F(WeightMatrices, NothingFollowsALastSeparator) {
  writeMatrixFile("a", 1, 1, {1});
  EXPECT_EQ(1u, weights("weights=a_").size());
  EXPECT_EQ("", printed);
}

TEST_F(WeightMatrices, OnlyTheFirstOfSeveralValuesIsUsed) {
  writeMatrixFile("a", 1, 1, {1});
  EXPECT_EQ(1u, weights("weights=a,b").size());
  EXPECT_EQ("", printed);
}

TEST_F(WeightMatrices, FileNamedTwiceGivesTwoMatrices) {
  writeMatrixFile("a", 1, 1, {1});
  const Matrices matrices = weights("weights=a_a");
  ASSERT_EQ(2u, matrices.size());
  EXPECT_NE(matrices[0]->buffer, matrices[1]->buffer);
}

TEST_F(WeightMatrices, FloatsThatAShortFileLacksAreZero) {
  writeMatrixFile("w", 2, 3, {1, 2, 3, 4});
  EXPECT_TRUE(holds(*weights("weights=w").at(0), 2, 3, {1, 2, 3, 4, 0, 0}));
  EXPECT_TRUE(holds(*weights("weights=w", true).at(0), 3, 2, {1, 4, 2, 0, 3, 0}));
  EXPECT_EQ("", printed);
  writeMatrixFile("w", 1, 2, {});
  EXPECT_TRUE(holds(*weights("weights=w").at(0), 1, 2, {0, 0}));
}

TEST_F(WeightMatrices, WhatFollowsTheFloatsOfALongFileIsIgnored) {
  writeMatrixFile("w", 1, 2, {1, 2, 3, 4});
  EXPECT_TRUE(holds(*weights("weights=w").at(0), 1, 2, {1, 2}));
  EXPECT_EQ("", printed);
}

TEST_F(WeightMatrices, FileWithoutAWholeHeaderGivesAnEmptyMatrix) {
  for (const size_t length : {0u, 1u, 4u, 7u}) {
    writeRawFile("w", std::string(length, '\1'));
    const Matrices matrices = weights("weights=w");
    ASSERT_EQ(1u, matrices.size()) << length << " bytes";
    EXPECT_EQ(0, matrices[0]->rows) << length << " bytes";
    EXPECT_EQ(0, matrices[0]->cols) << length << " bytes";
    EXPECT_EQ(0, matrices[0]->size) << length << " bytes";
    EXPECT_EQ("", printed);
    EXPECT_EQ(1u, weights("weights=w", true).size());
  }
}

TEST_F(WeightMatrices, HeaderWithoutElementsKeepsItsShape) {
  writeMatrixFile("w", 0, 5, {});
  EXPECT_TRUE(holds(*weights("weights=w").at(0), 0, 5, {}));
  EXPECT_TRUE(holds(*weights("weights=w", true).at(0), 5, 0, {}));
}

TEST_F(WeightMatrices, ShapeBeyondThirtyTwoBitsOfBytesIsAnAllocationFailure) {
  const std::vector<std::pair<int32_t, int32_t>> shapes = {
      {0x40000000, 1}, {65536, 16384}, {65536, 65536}, {-1, 1}, {3, -7}};
  for (const auto& shape : shapes) {
    writeMatrixFile("w", shape.first, shape.second, {1});
    const ConvNet net(0, "[layer]\nweights=w\nbiases=w\n");
    EXPECT_THROW(loadWeightMatrices("layer", false), std::bad_alloc)
        << shape.first << " x " << shape.second;
    EXPECT_THROW(loadBiasMatrix("layer"), std::bad_alloc) << shape.first << " x " << shape.second;
  }
}

TEST_F(WeightMatrices, EveryBitOfTheFileIsRead) {
  Values values;
  for (const uint32_t bits : {0x7FC12345u, 0x80000000u, 0x00000001u, 0xFF800000u}) {
    values.push_back(floatOfBits(bits));
  }
  writeMatrixFile("w", 4, 1, values);
  const Matrices matrices = weights("weights=w", true);
  for (size_t i = 0; i < values.size(); ++i) {
    EXPECT_BITS(bitsOf(values[i]), matrices.at(0)->buffer[i]);
  }
}

TEST_F(BiasMatrix, IsReadUnchangedAndNeverTransposed) {
  writeMatrixFile("b", 3, 1, {1, 2, 3});
  const auto matrix = biases("biases=b");
  EXPECT_TRUE(holds(*matrix, 3, 1, {1, 2, 3}));
  EXPECT_EQ(facefeature::kRowMajor, matrix->order);
  EXPECT_TRUE(matrix->ownsBuffer);
  EXPECT_EQ("", printed);
}

void expectEmpty(const Matrix& matrix) {
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(matrix.ownsBuffer);
  EXPECT_EQ(0, matrix.rows);
  EXPECT_EQ(0, matrix.cols);
  EXPECT_EQ(0, matrix.size);
  EXPECT_EQ(facefeature::kRowMajor, matrix.order);
}

TEST_F(BiasMatrix, FileThatCannotBeOpenedPrintsALineAndGivesAnEmptyMatrix) {
  expectEmpty(*biases("biases=b"));
  EXPECT_EQ(failedLine("b"), printed);
}

TEST_F(BiasMatrix, MissingKeyOpensTheFolderItselfWhichFails) {
  expectEmpty(*biases("weights=w"));
  EXPECT_EQ(failedLine(""), printed);
}

TEST_F(BiasMatrix, MissingSectionOpensTheFolderItself) {
  const ConvNet net(0, "[other]\nbiases=b\n");
  std::unique_ptr<Matrix> matrix;
  EXPECT_EQ(failedLine(""), standardOutputOf([&] { matrix.reset(loadBiasMatrix("layer")); }));
  expectEmpty(*matrix);
}

TEST_F(BiasMatrix, ValueIsOneFileNameAndIsNotSplit) {
  writeMatrixFile("a", 1, 1, {1});
  writeMatrixFile("a_b", 1, 1, {2});
  EXPECT_TRUE(holds(*biases("biases=a_b"), 1, 1, {2}));
  removeModelFile("a_b");
  EXPECT_EQ(0, biases("biases=a_b")->size);
  EXPECT_EQ(failedLine("a_b"), printed);
}

TEST_F(BiasMatrix, ShortFileIsFilledUpWithZeros) {
  writeMatrixFile("b", 1, 3, {5});
  EXPECT_TRUE(holds(*biases("biases=b"), 1, 3, {5, 0, 0}));
  writeRawFile("b", "abc");
  EXPECT_EQ(0, biases("biases=b")->size);
  EXPECT_EQ("", printed);
}

}  // namespace
}  // namespace facefeature_test
