// An empty program: the floor of a start, and an updater that takes no time.
int main()
{
    return 0;
}
