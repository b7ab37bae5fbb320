#include <lorb/dataset/DatasetWorldEmbedding.h>

#include <gtest/gtest.h>

namespace lorb {
namespace {

TEST(DatasetWorldEmbeddingTest, PutsVoxelsOfUnitSizeAtTheOriginByDefault) {
  DatasetWorldEmbedding const embedding;
  EXPECT_EQ(embedding.getDatasetOrigin(), WorldCoordinates(0.0, 0.0, 0.0, 0.0));
  EXPECT_EQ(embedding.getVoxelSpacing(), WorldCoordinates(1.0, 1.0, 1.0, 0.0));
}

TEST(DatasetWorldEmbeddingTest, KeepsOriginAndSpacingApart) {
  DatasetWorldEmbedding embedding;
  embedding.setDatasetOrigin(WorldCoordinates(1.5, -2.0, 0.1, 7.0));
  EXPECT_EQ(embedding.getVoxelSpacing(), WorldCoordinates(1.0, 1.0, 1.0, 0.0));
  embedding.setVoxelSpacing(WorldCoordinates(0.5, 0.25, 2.0, 8.0));
  EXPECT_EQ(embedding.getDatasetOrigin(), WorldCoordinates(1.5, -2.0, 0.1, 7.0));
  EXPECT_EQ(embedding.getVoxelSpacing(), WorldCoordinates(0.5, 0.25, 2.0, 8.0));
}

TEST(DatasetWorldEmbeddingTest, CopiesBothVectors) {
  DatasetWorldEmbedding embedding;
  embedding.setDatasetOrigin(WorldCoordinates(1, 2, 3, 4));
  embedding.setVoxelSpacing(WorldCoordinates(5, 6, 7, 8));
  DatasetWorldEmbedding const copy = embedding;
  embedding.setDatasetOrigin(WorldCoordinates());
  EXPECT_EQ(copy.getDatasetOrigin(), WorldCoordinates(1, 2, 3, 4));
  EXPECT_EQ(copy.getVoxelSpacing(), WorldCoordinates(5, 6, 7, 8));
}

TEST(DatasetWorldEmbeddingTest, StoresTheOriginBeforeTheSpacing) {
  DatasetWorldEmbedding const embedding;
  auto const* const start = reinterpret_cast<char const*>(&embedding);
  EXPECT_EQ(reinterpret_cast<char const*>(&embedding.getDatasetOrigin()) - start, 0);
  EXPECT_EQ(reinterpret_cast<char const*>(&embedding.getVoxelSpacing()) - start, 40);
  EXPECT_EQ(sizeof(embedding), 80U);
}

}  // namespace
}  // namespace lorb
