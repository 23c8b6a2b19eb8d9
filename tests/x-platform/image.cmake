# Tests of the image layer; PNG and OpenEXR read back the pictures the writers produce.
find_package(PNG REQUIRED)
find_package(OpenEXR CONFIG REQUIRED)

add_executable(voltrace_image_tests)
target_link_libraries(voltrace_image_tests PRIVATE voltrace_image PNG::PNG OpenEXR::OpenEXR
  GTest::gtest GTest::gtest_main)
target_sources(voltrace_image_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/image/XFilmTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XHighDynamicRangeImageTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XImageClassTableTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XImageSampleFilterTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XPictureWriterTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/image/XStratifiedImageSamplerTest.cpp
)
gtest_discover_tests(voltrace_image_tests DISCOVERY_TIMEOUT 60)
