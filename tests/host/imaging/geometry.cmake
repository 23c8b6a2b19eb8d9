# Tests of vectors, matrices, boxes, rectangles and the camera.
target_sources(voltrace_host_tests PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/X3DRectTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XBoundingBoxTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XCameraTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XMathVectorF3Test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XMatrix_4x4Test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XRectTest.cpp
)
