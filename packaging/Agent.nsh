; The agent in a set-up made by NSIS 3, for your own script. Define PROGRAMS, the folder with the programs at build time.
; A failed step ends the set-up with exit code 2. The installed files are then as they were, unless it was a move, the
; last step: then some are new.
!include LogicLib.nsh
!include FileFunc.nsh

!macro AgentStop TEXT
  RMDir /r "$INSTDIR\new"
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  Abort "${TEXT}"
!macroend

; Stops unless all files can be written: that of a running program cannot.
!macro AgentStopIfInUse
  !insertmacro AgentTryToWrite "@VENDOR_PROGRAM@.exe"
  !insertmacro AgentTryToWrite "@VENDOR_LIBRARY@.dll"
  !insertmacro AgentTryToWrite "@VENDOR_UPDATER@.exe"
!macroend

!macro AgentTryToWrite NAME
  ${If} ${FileExists} "$INSTDIR\${NAME}"
    ClearErrors
    FileOpen $0 "$INSTDIR\${NAME}" a
    FileClose $0
    ${If} ${Errors}
      !insertmacro AgentStop "$INSTDIR\${NAME} cannot be written: is it running?"
    ${EndIf}
  ${EndIf}
!macroend

!macro AgentMove NAME
  Delete "$INSTDIR\${NAME}"
  Rename "$INSTDIR\new\${NAME}" "$INSTDIR\${NAME}"
!macroend

; Installs or updates the agent in $INSTDIR. A settings file beside the set-up is taken; an installed one is kept.
!macro AgentInstall
  !getdllversion "${PROGRAMS}/@VENDOR_PROGRAM@.exe" Agent_
  ClearErrors
  GetDLLVersion "$INSTDIR\@VENDOR_PROGRAM@.exe" $1 $2
  ${IfNot} ${Errors}
    IntOp $3 ${Agent_1} << 16
    IntOp $3 $3 | ${Agent_2}
    IntOp $4 ${Agent_3} << 16
    IntOp $4 $4 | ${Agent_4}
    ${If} $1 U> $3
    ${OrIf} $1 = $3
    ${AndIf} $2 U> $4
      !insertmacro AgentStop "A newer version is installed; remove it first."
    ${EndIf}
  ${EndIf}
  !insertmacro AgentStopIfInUse
  ClearErrors
  SetOutPath "$INSTDIR\new"
  File "/oname=@VENDOR_PROGRAM@.exe" "${PROGRAMS}/@VENDOR_PROGRAM@.exe"
  File "/oname=@VENDOR_LIBRARY@.dll" "${PROGRAMS}/@VENDOR_LIBRARY@.dll"
  File "/oname=@VENDOR_UPDATER@.exe" "${PROGRAMS}/@VENDOR_UPDATER@.exe"
  SetOutPath "$INSTDIR"
  ${If} ${Errors}
    !insertmacro AgentStop "The files cannot be written to $INSTDIR."
  ${EndIf}
  !insertmacro AgentMove "@VENDOR_PROGRAM@.exe"
  !insertmacro AgentMove "@VENDOR_LIBRARY@.dll"
  !insertmacro AgentMove "@VENDOR_UPDATER@.exe"
  ${If} ${Errors}
    !insertmacro AgentStop "The files in $INSTDIR cannot be replaced."
  ${EndIf}
  RMDir "$INSTDIR\new"
  ${IfNot} ${FileExists} "$INSTDIR\@VENDOR_PROGRAM@.ini"
  ${AndIf} ${FileExists} "$EXEDIR\@VENDOR_PROGRAM@.ini"
    CopyFiles /SILENT "$EXEDIR\@VENDOR_PROGRAM@.ini" "$INSTDIR\@VENDOR_PROGRAM@.ini"
  ${EndIf}
!macroend

; Removes what AgentInstall made; the folder is the caller's. /REMOVEDEVICES="PRODUCT NAME" on the command line
; removes the stored devices of this product too, for the user who asks and for the machine.
!macro AgentRemove
  !insertmacro AgentStopIfInUse
  Delete "$INSTDIR\@VENDOR_PROGRAM@.exe"
  Delete "$INSTDIR\@VENDOR_LIBRARY@.dll"
  Delete "$INSTDIR\@VENDOR_UPDATER@.exe"
  Delete "$INSTDIR\@VENDOR_PROGRAM@.ini"
  SetOutPath "$TEMP" ; the folder is no longer the current one
  ${GetParameters} $0
  ${GetOptions} $0 "/REMOVEDEVICES=" $1
  ${If} $1 != ""
    SetShellVarContext all
    DeleteRegKey HKCU "Software\@VENDOR_DRIVER_STORE@\$1"
    DeleteRegKey HKLM "Software\@VENDOR_DRIVER_STORE@\$1"
    GetFullPathName $2 "$APPDATA\@VENDOR_DRIVER_STORE@\$1"
    ${If} $2 == "$APPDATA\@VENDOR_DRIVER_STORE@\$1" ; another one is outside, by ".."
      RMDir /r "$2"
    ${EndIf}
    RMDir "$APPDATA\@VENDOR_DRIVER_STORE@"
    RMDir /r "$APPDATA\@VENDOR_DATA_FOLDER@"
    RMDir "$APPDATA\@VENDOR_DATA_FOLDER@\.."
  ${EndIf}
!macroend
