; For all users: one program with two links, a document, and an uninstaller that its link's name gives away.
!include "installer.nsh"
Name "Lantern"
InstallDir "$PROGRAMFILES64\Lantern Works\Lantern"
Icon "${ICON}"

!macro Scope
    SetShellVarContext all
    SetRegView 64
!macroend

Section
    !insertmacro Scope
    SetOutPath "$INSTDIR"
    File "${PROGRAMS}/lantern.exe"
    FileOpen $0 "$INSTDIR\read me.txt" w
    FileWrite $0 "Turn the key."
    FileClose $0
    WriteUninstaller "$INSTDIR\remove.exe"
    CreateDirectory "$SMPROGRAMS\Lantern Works"
    !insertmacro Link "Lantern Works\Lantern" "$INSTDIR\lantern.exe" "" "Light in the dark"
    !insertmacro Link "Lantern Works\Lantern (dim)" "$INSTDIR\lantern.exe" "--level 3" "Less light"
    !insertmacro Link "Lantern Works\Read me" "$INSTDIR\read me.txt" "" ""
    !insertmacro Link "Lantern Works\Uninstall Lantern" "$INSTDIR\remove.exe" "" ""
    WriteRegStr HKLM "${UNINSTALL_KEY}\Lantern" "DisplayName" "Lantern"
    WriteRegStr HKLM "${UNINSTALL_KEY}\Lantern" "UninstallString" '"$INSTDIR\remove.exe"'
SectionEnd

Section "Uninstall"
    !insertmacro Scope
    Delete "$INSTDIR\lantern.exe"
    Delete "$INSTDIR\read me.txt"
    Delete "$INSTDIR\remove.exe"
    RMDir "$INSTDIR"
    RMDir "$INSTDIR\.."
    RMDir /r "$SMPROGRAMS\Lantern Works"
    DeleteRegKey HKLM "${UNINSTALL_KEY}\Lantern"
SectionEnd
