; What all installers have in common. PROGRAMS is the folder of the programs, OUT the installer to write.
Unicode true
Target amd64-unicode
RequestExecutionLevel user
SilentInstall silent
SilentUnInstall silent
OutFile "${OUT}"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall"

; A link: folder and name, target, arguments, description. Its working folder is the one of SetOutPath.
!macro Link LINK TARGET ARGUMENTS DESCRIPTION
    CreateShortCut "$SMPROGRAMS\${LINK}.lnk" "${TARGET}" `${ARGUMENTS}` "${TARGET}" 0 SW_SHOWNORMAL "" "${DESCRIPTION}"
!macroend
