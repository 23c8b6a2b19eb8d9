# Vectors, matrices, boxes, rectangles and the camera.
target_sources(voltrace_host PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/X3DRect.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XBoundingBox.cpp
  ${CMAKE_CURRENT_LIST_DIR}/XCamera.cpp
)
