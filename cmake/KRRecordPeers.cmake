# The libraries that the benchmark of the object record compares with.

# kr_record_peers: protobuf and FlatBuffers with the record's two schemas, whose code is generated
# into the build folder. Without our warnings: it is not our code.
function(kr_find_record_peers)
  find_package(Protobuf REQUIRED)
  find_package(FlatBuffers CONFIG REQUIRED)
  set(schemas ${PROJECT_SOURCE_DIR}/KRCommon/objects)
  set(generated ${PROJECT_BINARY_DIR}/record_peers)
  file(MAKE_DIRECTORY ${generated})
  add_custom_command(
    OUTPUT ${generated}/Objects_bench.pb.cc ${generated}/Objects_bench.pb.h
    COMMAND protobuf::protoc --proto_path=${schemas} --cpp_out=${generated} Objects_bench.proto
    DEPENDS ${schemas}/Objects_bench.proto
    VERBATIM)
  add_custom_command(
    OUTPUT ${generated}/Objects_bench_generated.h
    COMMAND flatbuffers::flatc --cpp -o ${generated} ${schemas}/Objects_bench.fbs
    DEPENDS ${schemas}/Objects_bench.fbs
    VERBATIM)
  add_library(kr_record_peers STATIC
    ${generated}/Objects_bench.pb.cc
    ${generated}/Objects_bench.pb.h
    ${generated}/Objects_bench_generated.h)
  target_include_directories(kr_record_peers SYSTEM PUBLIC ${generated})
  target_link_libraries(kr_record_peers PUBLIC protobuf::libprotobuf flatbuffers::flatbuffers)
endfunction()
