# The distributed layer: render jobs, their results and shared data, and the distributed renderer
# that cuts frames into tiles and passes on a job queue.
add_library(voltrace_distributed STATIC)
target_link_libraries(voltrace_distributed PUBLIC voltrace_tracer)
target_sources(voltrace_distributed PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XDistributedClassTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XDistributedRenderer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XRayTracerNetJobSharedData.cpp
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XRenderNetJob.cpp
  ${CMAKE_CURRENT_LIST_DIR}/distributed/XRenderNetJobResult.cpp
)
