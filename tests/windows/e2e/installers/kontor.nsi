; For all users: what the metadata file's rules speak of. Its programs lie flat in the Start Menu.
!include "installer.nsh"
Name "Kontor"
InstallDir "$PROGRAMFILES64\Kontor"
Icon "${ICON}"

Section
    SetShellVarContext all
    SetRegView 64
    SetOutPath "$INSTDIR"
    File "${PROGRAMS}/hall.exe"
    File "${PROGRAMS}/kontor.exe"
    File "/oname=helper.exe" "${PROGRAMS}/plain.exe"
    File "/oname=starter.exe" "${PROGRAMS}/plain.exe"
    SetOutPath "$INSTDIR\work"
    !insertmacro Link "Kontor Hall" "$INSTDIR\hall.exe" "" ""
    SetOutPath "$INSTDIR"
    !insertmacro Link "Kontor Helper" "$INSTDIR\helper.exe" "" ""
    !insertmacro Link "Kontor Starter" "$INSTDIR\starter.exe" "--background --quiet" ""
SectionEnd
