# A profile with something wrong stops the configure step, and the message names the entry.
# usage: cmake -DSOURCE=<repository> -DWORK=<scratch folder> -P operator_profile_test.cmake
cmake_minimum_required(VERSION 3.25)
file(READ ${SOURCE}/profiles/sandbox.json good)
file(WRITE ${WORK}/read.cmake
  "cmake_minimum_required(VERSION 3.25)\n"
  "include(${SOURCE}/cmake/operator_profile.cmake)\n"
  "zor_operator_profile(${WORK}/profile.json ${WORK}/profile.def)\n")

function(read_profile content)
  file(WRITE ${WORK}/profile.json "${content}")
  execute_process(COMMAND ${CMAKE_COMMAND} -P ${WORK}/read.cmake
    RESULT_VARIABLE result ERROR_VARIABLE message OUTPUT_QUIET)
  set(result ${result} PARENT_SCOPE)
  string(REGEX REPLACE "[ \n]+" " " message "${message}")
  set(message "${message}" PARENT_SCOPE)
endfunction()

function(expect_refusal content reason)
  read_profile("${content}")
  if(result EQUAL 0 OR NOT message MATCHES "${reason}")
    message(SEND_ERROR "Expected a refusal with \"${reason}\", got ${result}: ${message}")
  endif()
endfunction()

read_profile("${good}")
if(NOT result EQUAL 0)
  message(SEND_ERROR "The default profile is refused: ${message}")
endif()

string(JSON changed REMOVE "${good}" texts kFingerprintURL)
expect_refusal("${changed}" "kFingerprintURL is missing")
string(JSON changed SET "${good}" texts kFingerprintURL "\"http://fingerprint.localhost/\"")
expect_refusal("${changed}" "kFingerprintURL is no absolute https URL")
string(JSON changed SET "${good}" texts kTextCipherKey "\"seventeen letters\"")
expect_refusal("${changed}" "kTextCipherKey has 17 bytes, 16 are prescribed")
string(JSON changed SET "${good}" texts kKeyDerivationFormat "\"%@/%@/%@\"")
expect_refusal("${changed}" "kKeyDerivationFormat has 3 placeholders")
string(JSON changed SET "${good}" texts kAnswerStatusKey "17")
expect_refusal("${changed}" "kAnswerStatusKey is missing or no text")
string(JSON changed SET "${good}" texts kUnheardOf "\"x\"")
expect_refusal("${changed}" "kUnheardOf is no entry")
expect_refusal("{\"name\": \"empty\"}" "no dictionary")
expect_refusal("not JSON" "no dictionary")
string(JSON changed SET "${good}" consentRequired "\"yes\"")
expect_refusal("${changed}" "consentRequired is neither true nor false")
string(JSON changed SET "${good}" consentRequired true)
read_profile("${changed}")
file(READ ${WORK}/profile.def table)
if(NOT table MATCHES "kConsentRequired, \"yes\"")
  message(SEND_ERROR "Consent is required and not in the table: ${result}: ${message}")
endif()
