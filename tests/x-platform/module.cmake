# Tests of the module layer: the storable class table and the scene-file renderer, which renders
# scene files and small stacks written with libtiff into a scratch folder.
find_package(TIFF REQUIRED)
find_package(nlohmann_json CONFIG REQUIRED)

add_executable(voltrace_module_tests)
target_link_libraries(voltrace_module_tests PRIVATE voltrace_module voltrace_demo voltrace_net TIFF::TIFF
  nlohmann_json::nlohmann_json GTest::gtest GTest::gtest_main)
target_sources(voltrace_module_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/module/XFarmRenderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/module/XRayTracerRendererTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/module/XSceneFilePixelTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/module/XStorableClassTableTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/module/XTestStack.cpp
  ${CMAKE_CURRENT_LIST_DIR}/module/XVolumeRayTracerToolTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/module/XTiledRenderTest.cpp
)
# The examples render the shared stacks; those tests skip themselves when they are not there.
target_compile_definitions(voltrace_module_tests PRIVATE
  "VOLTRACE_SAMPLE_DATA_DIR=\"${VOLTRACE_SAMPLE_DATA_DIR}\""
  "VOLTRACE_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\""
  VOLTRACE_COMMAND="$<TARGET_FILE:voltrace>")
# The farm tests run `voltrace worker` processes (with the module beside them) against a private
# redis-server.
target_include_directories(voltrace_module_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests/host/net)
add_dependencies(voltrace_module_tests voltrace)
gtest_discover_tests(voltrace_module_tests DISCOVERY_TIMEOUT 60)
