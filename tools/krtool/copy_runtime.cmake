# Copies the DLLs and the configuration of the folder FROM into the folder TO.
file(GLOB files ${FROM}/*.dll ${FROM}/KRCommon.xml)
file(COPY ${files} DESTINATION ${TO})
