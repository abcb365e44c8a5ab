; A small complete set-up of the agent: makensis -NOCD -DARCHITECTURE=x86|x64 -DPROGRAMS=FOLDER -DOUTPUT=FILE Setup.nsi
; -DSIGN=COMMAND signs the uninstaller.
!if ${ARCHITECTURE} == x64
  Target amd64-unicode
  InstallDir "$PROGRAMFILES64\@VENDOR_INSTALLATION_FOLDER@"
!else
  Target x86-unicode
  InstallDir "$PROGRAMFILES\@VENDOR_INSTALLATION_FOLDER@"
!endif
Name "@VENDOR_PRODUCT@"
OutFile "${OUTPUT}"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
SetDateSave off ; the same programs give the same bytes
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\@VENDOR_PROGRAM@"
InstallDirRegKey HKLM "${UNINSTALL}" "InstallLocation"
!ifdef SIGN
  !uninstfinalize '${SIGN} "%1"'
!endif
!addincludedir "${__FILEDIR__}"
!include Agent.nsh

Section
  !insertmacro AgentInstall
  WriteUninstaller "$INSTDIR\Uninstall.exe"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "@VENDOR_PRODUCT@"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "@VENDOR_VERSION@"
  WriteRegStr HKLM "${UNINSTALL}" "Publisher" "@VENDOR_COMPANY@"
  WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
SectionEnd

Section Uninstall
  !insertmacro AgentRemove
  Delete "$INSTDIR\Uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINSTALL}"
SectionEnd
