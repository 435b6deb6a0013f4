// Programs that the installers bring are looked at, never used.
int main()
{
    return 0;
}
