# Installs the library of LIBRARY_BUILD below WORK, and builds and runs the project in the folder
# PROJECT against it. The project makes one program, called "consumer".
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${LIBRARY_BUILD} --prefix ${WORK}/prefix)
run(${CMAKE_COMMAND} -S ${PROJECT} -B ${WORK}/build -G ${GENERATOR}
  -D CMAKE_PREFIX_PATH=${WORK}/prefix
  -D CMAKE_CXX_COMPILER=${COMPILER}
  -D CMAKE_CXX_FLAGS=${FLAGS}
  -D CMAKE_BUILD_TYPE=${BUILD_TYPE})
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer)
