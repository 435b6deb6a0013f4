"""The games and tools that a scan finds on the sample machine samples/desk."""

STEAM = "C:/Program Files (x86)/Steam/steamapps/common"
LIBRARY = "D:/SteamLibrary/steamapps/common"
# In the order of the launchers. Apex Legends is Steam's too, and Siege Ubisoft's; the first one counts.
GAMES = [
    ("Overwatch", "Battle.net", ["C:/Program Files (x86)/Overwatch/_retail_/Overwatch.exe"]),
    ("Apex Legends", "Origin", ["D:/Games/Apex Legends/r5apex.exe"]),
    ("League of Legends", "Riot", ["C:/Riot Games/League of Legends/Game/League of Legends.exe"]),
    ("VALORANT", "Riot", ["C:/Riot Games/VALORANT/live/ShooterGame/Binaries/Win64/VALORANT-Win64-Shipping.exe"]),
    ("Fortnite", "Epic",
     ["C:/Program Files/Epic Games/Fortnite/FortniteGame/Binaries/Win64/FortniteClient-Win64-Shipping.exe"]),
    ("Tom Clancy's Rainbow Six Siege", "Steam", [f"{STEAM}/Tom Clancy's Rainbow Six Siege/RainbowSix.exe"]),
    ("Counter-Strike 2", "Steam", [f"{STEAM}/Counter-Strike Global Offensive/game/bin/win64/cs2.exe"]),
    ("Halo Infinite", "Steam", [f"{LIBRARY}/Halo Infinite/HaloInfinite.exe"]),
    ("Call of Duty", "Steam", [f"{LIBRARY}/Call of Duty HQ/cod.exe", f"{LIBRARY}/Call of Duty HQ/sp23-cod.exe"]),
    ("PUBG: BATTLEGROUNDS", "Steam", [f"{LIBRARY}/PUBG/TslGame/Binaries/Win64/TslGame.exe"]),
]
# By name: the file that the tool was recognised by, and the one that it runs.
TOOLS = {
    "Discord": ("Discord/Update.exe", "C:/Users/kim/AppData/Local/Discord/app-1.0.9172/Discord.exe"),
    "LINE": ("LineLauncher.exe", "C:/Users/kim/AppData/Local/LINE/bin/current/LINE.exe"),
    "Excel": ("EXCEL.EXE", "C:/Program Files/Microsoft Office/root/Office16/EXCEL.EXE"),
    "PowerPoint": ("POWERPNT.EXE", "C:/Program Files/Microsoft Office/root/Office16/POWERPNT.EXE"),
    "Word": ("WINWORD.EXE", "C:/Program Files/Microsoft Office/root/Office16/WINWORD.EXE"),
    "Google Chrome": ("chrome.exe", "C:/Program Files/Google/Chrome/Application/chrome.exe"),
    "Microsoft Edge": ("msedge.exe", "C:/Program Files (x86)/Microsoft/Edge/Application/msedge.exe"),
    "Firefox": ("firefox.exe", "C:/Program Files/Mozilla Firefox/firefox.exe"),
    "Skype": ("Skype.exe", "C:/Program Files (x86)/Microsoft/Skype for Desktop/Skype.exe"),
    "PotPlayer 64 bit": ("PotPlayerMini64.exe", "C:/Program Files/DAUM/PotPlayer/PotPlayerMini64.exe"),
    "Notepad": ("notepad.exe", "C:/Windows/system32/notepad.exe"),
}
