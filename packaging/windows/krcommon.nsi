; The installer. tools/packages/windows.sh calls makensis with VERSION, STAGE (one folder for each component,
; and lists of its files) and OUTPUT.
;
;   krcommon-...exe                            asks for the components and the folder
;   krcommon-...exe /S /D=C:\KRCommon          silently, everything, into that folder (/D comes last)
;   krcommon-...exe /S /COMPONENTS=krtool,development
;                                              the library and these: development, symbols, krtool,
;                                              video-search, or none
;   uninstall.exe /S                           takes away what was installed, and an edited configuration
;                                              only with /ALL
Unicode true
SetCompressor /SOLID lzma
!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include StrFunc.nsh
${StrStr}
!insertmacro GetParameters
!insertmacro GetOptions
!include "${STAGE}/library.nsh"
!include "${STAGE}/development.nsh"
!include "${STAGE}/symbols.nsh"
!include "${STAGE}/krtool.nsh"
!include "${STAGE}/video-search.nsh"

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\KRCommon"

Name "KRCommon ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES\KRCommon"
InstallDirRegKey HKLM "${KEY}" "InstallLocation"
RequestExecutionLevel admin
VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "KRCommon"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}.0"
VIAddVersionKey "FileDescription" "Installs KRCommon for 32-bit programs of MinGW-w64"
VIAddVersionKey "LegalCopyright" "The owner of KRCommon"

!insertmacro MUI_PAGE_LICENSE "${STAGE}/library/share/doc/KRCommon/LICENSE"
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Pushes 1 when the files FIRST and SECOND have the same bytes, else 0.
!macro same_files prefix
Function ${prefix}same_files
  Exch $0 ; second
  Exch
  Exch $1 ; first
  Push $2
  Push $3
  Push $4
  Push $5
  FileOpen $2 $1 r
  FileOpen $3 $0 r
  StrCpy $0 0
  ${If} $2 != ""
  ${AndIf} $3 != ""
    StrCpy $0 1
    ${Do}
      ClearErrors
      FileReadByte $2 $4
      ${If} ${Errors}
        StrCpy $4 "end"
      ${EndIf}
      ClearErrors
      FileReadByte $3 $5
      ${If} ${Errors}
        StrCpy $5 "end"
      ${EndIf}
      ${If} $4 != $5
        StrCpy $0 0
      ${EndIf}
    ${LoopUntil} $4 == "end"
    ClearErrors
  ${EndIf}
  FileClose $2
  FileClose $3
  Pop $5
  Pop $4
  Pop $3
  Pop $2
  Pop $1
  Exch $0
FunctionEnd
!macroend
!insertmacro same_files ""
!insertmacro same_files "un."

Section "Library and configuration" section_library
  SectionIn RO
  ; An edited configuration outlives an update.
  Push "$INSTDIR\bin\KRCommon.xml"
  Push "$INSTDIR\bin\KRCommon.xml.default"
  Call same_files
  Pop $0
  !insertmacro install_library
  SetOutPath "$INSTDIR\bin"
  ${If} $0 == 1
  ${OrIfNot} ${FileExists} "$INSTDIR\bin\KRCommon.xml"
    File "${STAGE}/library/bin/KRCommon.xml"
  ${EndIf}
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${KEY}" "DisplayName" "KRCommon"
  WriteRegStr HKLM "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${KEY}" "NoRepair" 1
SectionEnd

Section "Development files" section_development
  !insertmacro install_development
SectionEnd

Section "Debug symbols" section_symbols
  !insertmacro install_symbols
SectionEnd

Section "krtool, the inspector" section_krtool
  !insertmacro install_krtool
SectionEnd

Section "Video search" section_video_search
  !insertmacro install_video-search
SectionEnd

; Leaves a section out when /COMPONENTS does not name it.
!macro choose section name
  ${StrStr} $1 ",$0," ",${name},"
  ${If} $1 == ""
    SectionSetFlags ${section} 0
  ${EndIf}
!macroend

Function .onInit
  ${GetParameters} $1
  ClearErrors
  ${GetOptions} $1 "/COMPONENTS=" $0
  ${IfNot} ${Errors}
    !insertmacro choose ${section_development} development
    !insertmacro choose ${section_symbols} symbols
    !insertmacro choose ${section_krtool} krtool
    !insertmacro choose ${section_video_search} video-search
  ${EndIf}
FunctionEnd

Section "Uninstall"
  StrCpy $2 0 ; whether the configuration is another's work
  Push "$INSTDIR\bin\KRCommon.xml"
  Push "$INSTDIR\bin\KRCommon.xml.default"
  Call un.same_files
  Pop $0
  ${GetParameters} $1
  ClearErrors
  ${GetOptions} $1 "/ALL" $3
  ${If} ${Errors}
  ${AndIf} $0 == 0
  ${AndIf} ${FileExists} "$INSTDIR\bin\KRCommon.xml"
    StrCpy $2 1
    Rename "$INSTDIR\bin\KRCommon.xml" "$INSTDIR\KRCommon.xml.kept"
  ${EndIf}
  Delete "$INSTDIR\uninstall.exe"
  !insertmacro remove_video-search
  !insertmacro remove_krtool
  !insertmacro remove_symbols
  !insertmacro remove_development
  !insertmacro remove_library
  ${If} $2 == 1
    CreateDirectory "$INSTDIR\bin"
    Rename "$INSTDIR\KRCommon.xml.kept" "$INSTDIR\bin\KRCommon.xml"
  ${EndIf}
  SetOutPath "$TEMP"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${KEY}"
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${section_library} "The DLLs, KRCommon.xml, its schema and licences."
  !insertmacro MUI_DESCRIPTION_TEXT ${section_development} "Headers, import libraries, CMake and pkg-config packages."
  !insertmacro MUI_DESCRIPTION_TEXT ${section_symbols} "Debug information, in files that gdb finds beside the programs."
  !insertmacro MUI_DESCRIPTION_TEXT ${section_krtool} "Looks into configuration, records, logs and profiles."
  !insertmacro MUI_DESCRIPTION_TEXT ${section_video_search} "kr_search, which finds objects in a store, and kr_serve, which serves it."
!insertmacro MUI_FUNCTION_DESCRIPTION_END
