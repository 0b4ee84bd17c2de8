// The built-in test scenes, drawn at any size.
#pragma once

#include <string_view>

#include "mosaic/image.h"

namespace vobrex::tool {

enum class ScenePattern {
  // Colour patches, a zone plate, slanted edges and two gradients: what the
  // demo shows, with detail up to the picture's own resolution.
  kChart,
  // Slow, lopsided colour ramps: a round trip through any path should give
  // it back closely, and a mirrored or channel-swapped picture does not.
  kSmooth,
};

bool ParseScenePattern(std::string_view text, ScenePattern& pattern);

mosaic::Image RenderScene(ScenePattern pattern, int width, int height);

}  // namespace vobrex::tool
