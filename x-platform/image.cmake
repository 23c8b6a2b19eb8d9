# The image layer: film, image sample filters, samplers, the floating-point image and the picture
# writers (PNG through libpng, OpenEXR through Debian's OpenEXR).
find_package(PNG REQUIRED)
find_package(OpenEXR CONFIG REQUIRED)

add_library(voltrace_image STATIC)
target_link_libraries(voltrace_image PUBLIC voltrace_core PRIVATE PNG::PNG OpenEXR::OpenEXR)
target_sources(voltrace_image PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/image/XBoxFilter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XExrWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XFilm.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XGaussianFilter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XHighDynamicRangeImage.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XImageClassTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XImageSampleFilter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XPngWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XSamplerRandomSource.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XStratifiedImageSampler.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XTriangleFilter.cpp
)
