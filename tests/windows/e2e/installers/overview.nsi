; For one user: names beyond Latin letters, folders in folders, a program without resources, a link whose target is
; gone, and an uninstaller that only its file name gives away.
!include "installer.nsh"
Name "Overview"
InstallDir "$LOCALAPPDATA\Programs\Übersicht"
Icon "${ICON}"

!macro Scope
    SetShellVarContext current
    SetRegView 64
!macroend

Section
    !insertmacro Scope
    SetOutPath "$INSTDIR\データ"
    SetOutPath "$INSTDIR"
    File "${PROGRAMS}/overview.exe"
    File "/oname=обзор.exe" "${PROGRAMS}/plain.exe"
    File "/oname=gone.exe" "${PROGRAMS}/plain.exe"
    WriteUninstaller "$INSTDIR\unins000.exe"
    CreateDirectory "$SMPROGRAMS\Ночь\夜\Übersicht"
    SetOutPath "$INSTDIR\データ"
    !insertmacro Link "Ночь\夜\Übersicht\概要 Übersicht" "$INSTDIR\overview.exe" '--open "two words" ж' "Обзор 📋"
    SetOutPath "$INSTDIR"
    !insertmacro Link "Ночь\обзор" "$INSTDIR\обзор.exe" "" ""
    Rename "$SMPROGRAMS\Ночь\обзор.lnk" "$SMPROGRAMS\Ночь\обзор 2.LNK"
    !insertmacro Link "Ночь\Gone" "$INSTDIR\gone.exe" "" ""
    !insertmacro Link "Ночь\Away with it" "$INSTDIR\unins000.exe" "" ""
    Delete "$INSTDIR\gone.exe"
    WriteRegStr HKCU "${UNINSTALL_KEY}\Übersicht" "DisplayName" "Übersicht"
    WriteRegStr HKCU "${UNINSTALL_KEY}\Übersicht" "UninstallString" '"$INSTDIR\unins000.exe"'
SectionEnd

Section "Uninstall"
    !insertmacro Scope
    RMDir /r "$SMPROGRAMS\Ночь"
    RMDir /r "$INSTDIR"
    DeleteRegKey HKCU "${UNINSTALL_KEY}\Übersicht"
SectionEnd
