# SIP - Session Initiation Protocol - Internet telephony
