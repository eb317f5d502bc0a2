# The libraries that benchmarks compare with, and that some tests ask for a second opinion.

# kr_opencv: the two parts of OpenCV that are installed have no CMake package of their own.
function(kr_find_opencv)
  find_path(KR_OPENCV_INCLUDE_DIR opencv2/imgproc.hpp PATH_SUFFIXES opencv4 REQUIRED)
  find_library(KR_OPENCV_CORE opencv_core REQUIRED)
  find_library(KR_OPENCV_IMGPROC opencv_imgproc REQUIRED)
  add_library(kr_opencv INTERFACE)
  target_include_directories(kr_opencv SYSTEM INTERFACE ${KR_OPENCV_INCLUDE_DIR})
  target_link_libraries(kr_opencv INTERFACE ${KR_OPENCV_IMGPROC} ${KR_OPENCV_CORE})
endfunction()

# kr_xml_peers: three readers of XML.
function(kr_find_xml_peers)
  find_package(EXPAT REQUIRED)
  find_package(pugixml REQUIRED)
  find_package(LibXml2 REQUIRED)
  add_library(kr_xml_peers INTERFACE)
  target_link_libraries(kr_xml_peers INTERFACE EXPAT::EXPAT pugixml::pugixml LibXml2::LibXml2)
endfunction()
